// SAMI text as delivered to the text that a person reads.
#include "tools/pellsub/sami_text.h"

#include "tools/pellsub/words.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <iterator>

struct Entity {
    const char *name;
    uint16_t character;
};

// In any case, and with or without a semicolon.
static const Entity kUsualEntities[] = {
    {"nbsp", 0xA0}, {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''},
};

// As they are written, with a semicolon: some of their letters may be capital ones.
static const Entity kEntities[] = {
    {"hellip", 0x2026}, {"ndash", 0x2013},  {"mdash", 0x2014},  {"lsquo", 0x2018}, {"rsquo", 0x2019},
    {"sbquo", 0x201A},  {"ldquo", 0x201C},  {"rdquo", 0x201D},  {"bdquo", 0x201E}, {"lsaquo", 0x2039},
    {"rsaquo", 0x203A}, {"bull", 0x2022},   {"euro", 0x20AC},   {"trade", 0x2122}, {"OElig", 0x0152},
    {"oelig", 0x0153},  {"Scaron", 0x0160}, {"scaron", 0x0161},
};

// The same of the characters from 0xA1 to 0xFF.
static const char *const kLatin[] = {
    "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",    "copy",   "ordf",   "laquo",
    "not",    "shy",    "reg",    "macr",   "deg",    "plusmn", "sup2",   "sup3",   "acute",  "micro",  "para",
    "middot", "cedil",  "sup1",   "ordm",   "raquo",  "frac14", "frac12", "frac34", "iquest", "Agrave", "Aacute",
    "Acirc",  "Atilde", "Auml",   "Aring",  "AElig",  "Ccedil", "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave",
    "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde", "Ograve", "Oacute", "Ocirc",  "Otilde", "Ouml",   "times",
    "Oslash", "Ugrave", "Uacute", "Ucirc",  "Uuml",   "Yacute", "THORN",  "szlig",  "agrave", "aacute", "acirc",
    "atilde", "auml",   "aring",  "aelig",  "ccedil", "egrave", "eacute", "ecirc",  "euml",   "igrave", "iacute",
    "icirc",  "iuml",   "eth",    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash",
    "ugrave", "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml",
};
static_assert(std::size(kLatin) == 0xFF - 0xA1 + 1);

// Numbers 128 to 159 are meant as in WINDOWS-1252, where these characters are. 0: there is none.
static const uint16_t kWindowsCharacters[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                                0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

static const char *const kLineEndTags[] = {"br", "p", "div", "sync"};

static bool IsLetter(char ch) {
    return std::isalpha(static_cast<unsigned char>(ch)) != 0;
}

static bool IsLetterOrDigit(char ch) {
    return std::isalnum(static_cast<unsigned char>(ch)) != 0;
}

static std::string_view TakeWhile(std::string_view text, bool (*belongs)(char)) {
    const auto end = std::find_if_not(text.begin(), text.end(), belongs);
    return text.substr(0, static_cast<size_t>(end - text.begin()));
}

// --- entities ------------------------------------------------------------------------------------------------------

static void AppendUtf8(uint32_t value, std::string &out) {
    const int following = value < 0x80 ? 0 : (value < 0x800 ? 1 : (value < 0x10000 ? 2 : 3));
    static const uint32_t leads[] = {0, 0xC0, 0xE0, 0xF0};
    out += static_cast<char>(leads[following] | value >> (6 * following));
    for (int i = following - 1; i >= 0; i--) {
        out += static_cast<char>(0x80 | (value >> (6 * i) & 0x3F));
    }
}

// The character that a number stands for. 0: none. Control characters but for tab and line end stand for nothing.
static uint32_t NumberedCharacter(std::string_view number) {
    const bool hexadecimal = !number.empty() && (number.front() == 'x' || number.front() == 'X');
    number.remove_prefix(hexadecimal ? 1 : 0);
    uint32_t value = 0;
    const auto parsed = std::from_chars(number.data(), number.data() + number.size(), value, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != number.data() + number.size()) {
        return 0;
    }
    if (value >= 0x80 && value <= 0x9F) {
        return kWindowsCharacters[value - 0x80];
    }
    const bool control = (value < 0x20 && value != '\t' && value != '\n' && value != '\r') || value == 0x7F;
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return control || surrogate || value > 0x10FFFF ? 0 : value;
}

// 0: there is none of that name.
static uint32_t NamedCharacter(std::string_view name, bool closed) {
    const auto usual = std::find_if(std::begin(kUsualEntities), std::end(kUsualEntities),
                                    [=](const Entity &entity) { return EqualNoCase(entity.name, name); });
    if (usual != std::end(kUsualEntities) || !closed) {
        return usual != std::end(kUsualEntities) ? usual->character : 0;
    }
    const auto other = std::find_if(std::begin(kEntities), std::end(kEntities),
                                    [=](const Entity &entity) { return entity.name == name; });
    const auto latin = std::find(std::begin(kLatin), std::end(kLatin), name);
    if (other != std::end(kEntities)) {
        return other->character;
    }
    return latin != std::end(kLatin) ? static_cast<uint32_t>(0xA1 + (latin - std::begin(kLatin))) : 0;
}

// Takes the entity at the front of the text and gives its size. 0: there is none. Many files leave out the semicolon.
static size_t TakeEntity(std::string_view text, std::string &out) {
    const bool numbered = text.substr(1).starts_with('#');
    const size_t begin = numbered ? 2 : 1;
    const std::string_view name = TakeWhile(text.substr(begin), IsLetterOrDigit);
    const size_t end = begin + name.size();
    const bool closed = text.substr(end).starts_with(';');
    const uint32_t value = numbered ? NumberedCharacter(name) : NamedCharacter(name, closed);
    if (value == 0) {
        return 0;
    }
    AppendUtf8(value, out);
    return end + (closed ? 1 : 0);
}

// --- tags ----------------------------------------------------------------------------------------------------------

// The size of the tag or comment at the front of the text. 0: there is none, or it does not end.
static size_t MarkupSize(std::string_view text) {
    const bool comment = text.starts_with("<!--");
    const char second = text.size() > 1 ? text[1] : ' ';
    if (!IsLetter(second) && second != '/' && second != '!' && second != '?') {
        return 0;
    }
    const std::string_view closing = comment ? "-->" : ">";
    const size_t end = text.find(closing, comment ? 4 : 1);
    return end == std::string_view::npos ? 0 : end + closing.size();
}

static bool EndsLine(std::string_view tag) {
    tag.remove_prefix(tag.starts_with("</") ? 2 : 1);
    const std::string_view name = TakeWhile(tag, IsLetterOrDigit);
    return std::any_of(std::begin(kLineEndTags), std::end(kLineEndTags),
                       [=](const char *ending) { return EqualNoCase(ending, name); });
}

// Takes a tag or comment off the front of the text, as a piece; a comment leaves none. False: there is neither.
static bool TakeMarkup(std::string_view &text, std::vector<SamiPiece> &pieces) {
    const size_t size = MarkupSize(text);
    const std::string_view tag = text.substr(0, size);
    if (size > 0 && !tag.starts_with("<!")) {
        pieces.push_back({tag, EndsLine(tag) ? "\n" : ""});
    }
    text.remove_prefix(size);
    return size > 0;
}

static void TakeText(std::string_view &text, std::vector<SamiPiece> &pieces) {
    if (pieces.empty() || !pieces.back().tag.empty()) {
        pieces.emplace_back();
    }
    std::string &out = pieces.back().text;
    size_t taken = text.front() == '&' ? TakeEntity(text, out) : 0;
    if (taken == 0) {
        out += text.front();
        taken = 1;
    }
    text.remove_prefix(taken);
}

std::vector<SamiPiece> SamiPiecesOf(std::string_view text) {
    std::vector<SamiPiece> pieces;
    while (!text.empty()) {
        if (text.front() != '<' || !TakeMarkup(text, pieces)) {
            TakeText(text, pieces);
        }
    }
    return pieces;
}

// --- lines ---------------------------------------------------------------------------------------------------------

static const std::string_view kBlanks[] = {" ", "\t", "\xC2\xA0", "\xE3\x80\x80"};

void TrimFront(std::string_view &text) {
    size_t sizeBefore = 0;
    do {
        sizeBefore = text.size();
        for (const std::string_view blank : kBlanks) {
            text.remove_prefix(text.starts_with(blank) ? blank.size() : 0);
        }
    } while (text.size() != sizeBefore);
}

void TrimBack(std::string_view &text) {
    size_t sizeBefore = 0;
    do {
        sizeBefore = text.size();
        for (const std::string_view blank : kBlanks) {
            text.remove_suffix(text.ends_with(blank) ? blank.size() : 0);
        }
    } while (text.size() != sizeBefore);
}

static std::string WithoutBlankLines(std::string_view text) {
    std::string lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of("\r\n"), text.size());
        std::string_view line = text.substr(0, end);
        TrimFront(line);
        TrimBack(line);
        lines += !lines.empty() && !line.empty() ? "\n" : "";
        lines += line;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::string SamiText(std::string_view text) {
    std::string plain;
    for (const SamiPiece &piece : SamiPiecesOf(text)) {
        plain += piece.text;
    }
    return WithoutBlankLines(plain);
}
