// What is left of SAMI and ASS text for a person to read.
#include "tools/pellsub/ass_text.h"
#include "tools/pellsub/sami_text.h"

#include <gtest/gtest.h>

#include <string>

TEST(SamiText, IsReadable) {
    const std::pair<const char *, const char *> rows[] = {
        {"one\r\ntwo\rthree\n", "one\ntwo\nthree"},
        {"first<br>\r\nsecond<BR/>third< br>", "first\nsecond\nthird< br>"}, // "<" and a blank are no tag
        {"a<Br />b</BR>c<br clear=all>d<brother>e", "a\nb\nc\nde"},
        {"<font color=\"red\">red</font> <I>slanted</I></P>", "red slanted"},
        {"one</P><P Class=FRCC>un", "one\nun"},
        {"a<!-- > <br> -->b<!-- no end", "ab<!-- no end"},
        {"1 < 2 > 1, <3, a <b", "1 < 2 > 1, <3, a <b"},
        {"<!DOCTYPE x><?xml?>x<>", "x<>"},
        {"\n \n&nbsp;\n  in the middle\t\n&#160;\n\n", "in the middle"},
        {" ", ""},
        {"&nbsp\n\xE3\x80\x80 \n", ""},
        {"Q&amp;A &LT;b&gt; &quot;x&quot; &apos;y&apos; a&nbsp;b", "Q&A <b> \"x\" 'y' a\xC2\xA0"
                                                                   "b"},
        {"&amp;lt; &amp;#65;", "&lt; &#65;"}, // once is enough
        {"AT&T & &unknown; &; &#; &#x; &#xZZ; &#99999999999; &nbspx", "AT&T & &unknown; &; &#; &#x; &#xZZ; "
                                                                      "&#99999999999; &nbspx"},
        {"It&#039;s &#x2014;&#X41; &#54620;&#x1F3AC; &#65 B", "It's \xE2\x80\x94"
                                                              "A \xED\x95\x9C\xF0\x9F\x8E\xAC A B"},
        {"D&eacute;j&Agrave;&nbsp;&iexcl;&yuml;&hellip; &copy &EACUTE; &mdashx;",
         "D\xC3\xA9j\xC3\x80\xC2\xA0\xC2\xA1\xC3\xBF"
         "\xE2\x80\xA6 &copy &EACUTE; &mdashx;"},
        {"&#147;x&#148;&#133;", "\xE2\x80\x9Cx\xE2\x80\x9D\xE2\x80\xA6"},
        {"a&#10;b&#9;c", "a\nb\tc"},
        {"&#27;[2J&#x1b;&#0;&#7;&#127;&#x81;&#155;1m", "&#27;[2J&#x1b;&#0;&#7;&#127;&#x81;\xE2\x80\xBA"
                                                       "1m"},
        {"&#xD800;&#x10FFFF;&#x110000;", "&#xD800;\xF4\x8F\xBF\xBF&#x110000;"},
        {"<font color=red>\xED\x95\x9C\xEA\xB5\xAD<br>\xEC\x96\xB4", "\xED\x95\x9C\xEA\xB5\xAD\n\xEC\x96\xB4"},
    };
    for (const auto &[delivered, read] : rows) {
        EXPECT_EQ(SamiText(delivered), read) << delivered;
    }
}

static std::string NamesOf(const AssFields &fields) {
    std::string names;
    for (const std::string &name : fields.names) {
        names += name + (&name == &fields.names[fields.text] ? "* " : " ");
    }
    return names;
}

TEST(AssFields, AreThoseOfTheHeader) {
    const char *usual = "layer start end style name margin_l margin_r margin_v effect text* ";
    const std::pair<const char *, const char *> rows[] = {
        {"", usual},
        {"[V4+ Styles]\nFormat: Name, Fontname\n[Events]\nFormat:\n", usual},
        {"[Events]\r\nFormat: Marked, Start,End ,\tText\r\n[Fonts]\r\nFormat: x\r\n", "marked start end text* "},
        {"[Script Info]\r[EVENTS]\rformat:Start,End,TEXT,Actor", "start end text* actor "},
        {"[Events]\nFormat: A, B\n[Events]\nFormat: MarginL, Effect 2", "margin_l effect_2* "},
    };
    for (const auto &[header, names] : rows) {
        EXPECT_EQ(NamesOf(AssFieldsOf(header)), names) << header;
    }
}

TEST(AssText, IsReadable) {
    const std::pair<const char *, const char *> rows[] = {
        {"Hello, world, again", "Hello, world, again"},
        {"one\\Ntwo\\nthree\\hfour\\x", "one\ntwo\nthree\xC2\xA0"
                                        "four\\x"},
        {"\\N{\\i1}slanted{\\i0} {a comment}text\\N\\N", "slanted text"},
        {"a{b", "a{b"},
        {"a}{}b}", "a}b}"},
        {"{\\pos(1,2)\\p1}m 0 0 l 9 9{\\p0}text{\\p4\\pbo3}m 1", "text"},
        {"{\\p0\\p2}m 0 0{\\p}text{\\pos(1,1)}s", "texts"},
        {"{\\p1\\p0}text", "text"},
        {"{\\p1}m 0 0{\\bord1}l 1 1", ""},
    };
    for (const auto &[text, read] : rows) {
        const std::string line = "Dialogue: 0,0:00:01.00,0:00:02.00,Default,,0,0,0,,";
        EXPECT_EQ(AssText(AssFieldsOf(""), line + text + "\r\n"), read) << text;
    }
}

TEST(AssText, IsFoundInItsLine) {
    const struct {
        const char *format;
        const char *frame;
        const char *read;
    } rows[] = {
        {"Text", "Dialogue: a, b", " a, b"},
        {"Start,Text", "Dialogue:1,a,b\nDIALOGUE: 1,c\r\n", "a,b\nc"},
        {"Start,Text", "Dialogue:1,{\\p1}m 0\n\nDialogue:1,c\n", "c"},
        {"Text,Name", "Dialogue: a ,b,c", "a"},
        {"Start,End,Text", "  Dialogue:1,2,\n", ""},
        {"Start,End,Text", "Dialogue:1,2\n", ""},
        {"Start,End,Text", "no event\n", "no event"},
        {"Start,End,Text", "", ""},
    };
    for (const auto &row : rows) {
        const std::string header = std::string("[Events]\nFormat:") + row.format;
        EXPECT_EQ(AssText(AssFieldsOf(header), row.frame), row.read) << row.frame;
    }
}
