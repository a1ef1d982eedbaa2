// charset_test.cpp - hand-written bytes of every kind of code type through the converter, and texts of many languages
// through the detector.
#include "charset/pell_charset.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <string>
#include <vector>

namespace {

int g_s32Opens = 0;
int g_s32Closes = 0;
bool g_bOpenFails = false;

} // namespace

// In place of the C library's, to count handles and to take conversions away.
extern "C" iconv_t iconv_open(const char *__tocode, const char *__fromcode) {
    static auto *pfnOpen = reinterpret_cast<decltype(&iconv_open)>(dlsym(RTLD_NEXT, "iconv_open"));
    g_s32Opens++;
    return g_bOpenFails ? reinterpret_cast<iconv_t>(-1) : pfnOpen(__tocode, __fromcode);
}
extern "C" int iconv_close(iconv_t __cd) {
    static auto *pfnClose = reinterpret_cast<decltype(&iconv_close)>(dlsym(RTLD_NEXT, "iconv_close"));
    g_s32Closes++;
    return pfnClose(__cd);
}

namespace {

using std::string;
using namespace std::string_literals;

const uint8_t *Bytes(const string &text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}

struct Converted {
    int32_t result;
    string out;
    int32_t used;
};

class Charset : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(0, g_charsetOps.create(&hCharset, 0));
    }
    void TearDown() override {
        g_charsetOps.destroy(hCharset);
    }

    // Input and output in blocks of exactly their size, so that a sanitizer sees every byte beyond.
    Converted Convert(const string &in, int32_t src, int32_t dst, int32_t capacity = 4096) {
        std::vector<uint8_t> input(in.begin(), in.end());
        std::vector<uint8_t> output(static_cast<size_t>(capacity) + 1, 0xA5);
        input.reserve(1);
        int32_t len = capacity;
        Converted made = {0, "", -1};
        made.result = g_charsetOps.convert(hCharset, output.data(), &len, input.data(), static_cast<int32_t>(in.size()),
                                           src, dst, &made.used);
        EXPECT_LE(len, capacity);
        EXPECT_EQ(0xA5, output[static_cast<size_t>(capacity)]);
        made.out.assign(output.begin(), output.begin() + len);
        return made;
    }
    int32_t Identify(const string &text, int32_t hint = 0) {
        int32_t type = -1;
        int32_t result =
            g_charsetOps.getCodeType(hCharset, Bytes(text), static_cast<int32_t>(text.size()), hint, &type);
        return result == 0 ? type : -1;
    }
    int32_t Source() {
        return PellCharsetLastSource(hCharset);
    }

    void *hCharset = nullptr;
};

std::vector<int32_t> AllTypes() {
    std::vector<int32_t> types;
    for (int32_t i = 0; PellCharsetAt(i) != 0; i++) {
        types.push_back(PellCharsetAt(i));
    }
    return types;
}

// The same words in the bytes of a code type and in UTF-8.
struct Sample {
    int32_t type;
    string bytes;
    string utf8;
};
const Sample g_samples[] = {
    {PELL_CODE_WINDOWS_949, "\xC7\xD1\xB1\xDB a \x8C\x63", "한글 a 똠"},
    {PELL_CODE_EUC_KR, "\xC7\xD1\xB1\xDB", "한글"},
    {PELL_CODE_WINDOWS_936, "\xD6\xD0\xCE\xC4\x81\x30\x81\x34\x95\x32\x82\x36", "中文\u0084𠀀"},
    {PELL_CODE_WINDOWS_950, "\xA4\xA4\xA4\xE5\xB3\x5C", "中文許"},
    {PELL_CODE_WINDOWS_932, "\x93\xFA\x96\x7B\x83\x5C\xB1\\~", "日本ソｱ\\~"},
    {PELL_CODE_EUC_JP, "\xC6\xFC\xCB\xDC\x8E\xB1", "日本ｱ"},
    {PELL_CODE_WINDOWS_874, "\xE4\xB7\xC2\x80", "ไทย€"},
    {PELL_CODE_WINDOWS_1250, "\x9Elu\x9Dou\xE8k\xFD k\xF9\xF2", "žluťoučký kůň"},
    {PELL_CODE_ISO_8859_2, "\xBElu\xBBou\xE8k\xFD", "žluťoučký"},
    {PELL_CODE_WINDOWS_1251, "\xCF\xF0\xE8\xE2\xB3\xF2 \xB9", "Привіт №"},
    {PELL_CODE_KOI8_R, "\xF0\xD2\xC9\xD7\xC5\xD4", "Привет"},
    {PELL_CODE_KOI8_U, "\xF0\xD2\xC9\xD7\xA6\xD4", "Привіт"},
    {PELL_CODE_ISO_8859_5, "\xBF\xE0\xD8\xD2\xD5\xE2", "Привет"},
    {PELL_CODE_IBM866, "\x8F\xE0\xA8\xA2\xA5\xE2", "Привет"},
    {PELL_CODE_WINDOWS_1252, "caf\xE9 \x93x\x94 \x80", "café “x” €"},
    {PELL_CODE_ISO_8859_1, "caf\xE9", "café"},
    {PELL_CODE_ISO_8859_15, "c\xBDur \xA4", "cœur €"},
    {PELL_CODE_WINDOWS_1253, "\xC5\xEB\xEB\xDC\xE4\xE1 \xA2", "Ελλάδα Ά"},
    {PELL_CODE_ISO_8859_7, "\xC5\xEB\xEB\xDC\xE4\xE1 \xB6", "Ελλάδα Ά"},
    {PELL_CODE_WINDOWS_1254, "\xDEi\xFEli \xFD\xF0", "Şişli ığ"},
    {PELL_CODE_ISO_8859_9, "\xDEi\xFEli", "Şişli"},
    {PELL_CODE_WINDOWS_1255, "\xF9\xEC\xE5\xED", "שלום"},
    {PELL_CODE_WINDOWS_1256, "\xD3\xE1\xC7\xE3 \x81", "سلام پ"},
    {PELL_CODE_WINDOWS_1257, "\xE0\xE8\xE6\xFE", "ąčęž"},
    {PELL_CODE_WINDOWS_1258, "ti\xEA\xECng vi\xEA\xF2t \xD0", "tiếng việt Đ"},
    {PELL_CODE_UTF16LE, "a\0\xAC\x20\x3D\xD8\x00\xDE"s, "a€😀"},
    {PELL_CODE_UTF16BE, "\0a\x20\xAC\xD8\x3D\xDE\x00"s, "a€😀"},
    {PELL_CODE_UTF32LE, "a\0\0\0\x00\xF6\x01\0"s, "a😀"},
    {PELL_CODE_UTF32BE, "\0\0\0a\0\x01\xF6\x00"s, "a😀"},
    {PELL_CODE_UTF8, "a\xC3\xA9\xED\x9F\xBF\xF4\x8F\xBF\xBF", "aé\uD7FF\U0010FFFF"},
};

TEST_F(Charset, KnownWordsInEveryCodeTypeBothWays) {
    std::set<int32_t> seen;
    for (const Sample &row : g_samples) {
        SCOPED_TRACE(PellCharsetName(row.type));
        seen.insert(row.type);
        Converted decoded = Convert(row.bytes, row.type, PELL_CODE_UTF8);
        EXPECT_EQ(0, decoded.result);
        EXPECT_EQ(row.utf8, decoded.out);
        EXPECT_EQ(row.bytes.size(), static_cast<size_t>(decoded.used));
        EXPECT_EQ(row.bytes, Convert(row.utf8, PELL_CODE_UTF8, row.type).out);
        EXPECT_EQ(row.bytes, Convert(row.bytes, row.type, row.type).out);
    }
    for (int32_t type : AllTypes()) {
        EXPECT_EQ(1u, seen.count(type)) << PellCharsetName(type) << " has no sample";
    }
}

// Whatever the capacity, the output is a beginning of the whole, and what is left over gives the rest.
TEST_F(Charset, FullOutputStopsAtAWholeCharacter) {
    for (const Sample &row : g_samples) {
        for (int32_t dst : {row.type, int32_t{PELL_CODE_UTF8}, int32_t{PELL_CODE_UTF16LE}}) {
            string whole = Convert(row.bytes, row.type, dst).out;
            for (int32_t capacity = 0; capacity <= static_cast<int32_t>(whole.size()); capacity++) {
                SCOPED_TRACE(PellCharsetName(row.type) + " "s + std::to_string(capacity));
                Converted head = Convert(row.bytes, row.type, dst, capacity);
                ASSERT_EQ(0, head.result);
                Converted tail = Convert(row.bytes.substr(static_cast<size_t>(head.used)), row.type, dst);
                ASSERT_EQ(whole, head.out + tail.out);
                ASSERT_GT(static_cast<int32_t>(head.out.size()) + (row.type == PELL_CODE_WINDOWS_1258 ? 9 : 5),
                          capacity);
            }
        }
    }
    EXPECT_EQ("ab", Convert("ab\xC3\xA9", PELL_CODE_UTF8, PELL_CODE_UTF8, 3).out);
    EXPECT_EQ("ab", Convert("ab\xE9", PELL_CODE_WINDOWS_1252, PELL_CODE_UTF8, 3).out);
    EXPECT_EQ("abé", Convert("ab\xE9", PELL_CODE_WINDOWS_1252, PELL_CODE_UTF8, 4).out);
}

TEST_F(Charset, CutAndInvalidCharacters) {
    const struct {
        int32_t src;
        int32_t dst;
        string in;
        string out;
        int32_t unused;
    } rows[] = {
        // Cut off: left for the next call.
        {PELL_CODE_UTF8, PELL_CODE_UTF8, "a\xE2\x82", "a", 2},
        {PELL_CODE_UTF8, PELL_CODE_WINDOWS_1252, "a\xF0\x9F\x98", "a", 3},
        {PELL_CODE_WINDOWS_949, PELL_CODE_UTF8, "\xC7\xD1\xB1", "한", 1},
        {PELL_CODE_WINDOWS_932, PELL_CODE_UTF8, "\x83\x5C\x83", "ソ", 1},
        {PELL_CODE_WINDOWS_936, PELL_CODE_UTF8, "a\x95\x32\x82", "a", 3},
        {PELL_CODE_WINDOWS_936, PELL_CODE_WINDOWS_936, "\xD6\xD0\xCE", "\xD6\xD0", 1},
        {PELL_CODE_UTF16LE, PELL_CODE_UTF8, "a\0\x3D\xD8"s, "a", 2},
        {PELL_CODE_UTF16BE, PELL_CODE_UTF8, "\0a\x20"s, "a", 1},
        // Invalid: one replacement for a byte or a unit, and the text goes on.
        {PELL_CODE_UTF8, PELL_CODE_UTF8, "a\xE2\x82z", "a\uFFFD\uFFFDz", 0},
        {PELL_CODE_UTF8, PELL_CODE_UTF8, "\xC0\xAF\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD", 0},
        {PELL_CODE_UTF8, PELL_CODE_UTF8, "\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD", 0},
        {PELL_CODE_UTF8, PELL_CODE_UTF16LE, "\xF5z", "\xFD\xFFz\0"s, 0},
        {PELL_CODE_WINDOWS_1252, PELL_CODE_UTF8, "a\x81z", "a\uFFFDz", 0},
        {PELL_CODE_WINDOWS_1258, PELL_CODE_UTF8, "a\x8Az", "a\uFFFDz", 0},
        {PELL_CODE_WINDOWS_949, PELL_CODE_UTF8, "\xFF\xB1\xDB", "\uFFFD글", 0},
        {PELL_CODE_WINDOWS_1252, PELL_CODE_WINDOWS_1251, "a\x81z", "a?z", 0},
        {PELL_CODE_UTF16LE, PELL_CODE_UTF8, "\x3D\xD8z\0"s, "\uFFFDz", 0},
        // Not in the destination.
        {PELL_CODE_UTF8, PELL_CODE_WINDOWS_1252, "한é글", "?\xE9?", 0},
        {PELL_CODE_WINDOWS_949, PELL_CODE_KOI8_R, "\xC7\xD1x", "?x", 0},
        {PELL_CODE_UTF16BE, PELL_CODE_WINDOWS_949, "\xD8\x3D\xDE\x00\0x"s, "?x", 0},
        // A byte pair that decodes to what another pair encodes stays when the code type does.
        {PELL_CODE_WINDOWS_932, PELL_CODE_WINDOWS_932, "\xED\x40\x83", "\xED\x40", 1},
        // A byte-order mark is a character.
        {PELL_CODE_UTF8, PELL_CODE_UTF8, "\uFEFFa", "\uFEFFa", 0},
        {PELL_CODE_UTF16LE, PELL_CODE_UTF8, "\xFF\xFE"s, "\uFEFF", 0},
        // Code type 0.
        {0, 0, "caf\xC3\xA9", "café", 0},
        {0, 0, "caf\xE9!", "café!", 0},
        {0, 0, "caf\xE9", "café", 0},
        {0, 0, "\xC3\xA9t\xC3", "ét", 1},
        {0, PELL_CODE_UTF16BE, "plain", "\0p\0l\0a\0i\0n"s, 0},
        {PELL_CODE_UTF8, PELL_CODE_UTF8, "", "", 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.in + " " + std::to_string(row.src) + "->" + std::to_string(row.dst));
        Converted made = Convert(row.in, row.src, row.dst);
        EXPECT_EQ(0, made.result);
        EXPECT_EQ(row.out, made.out);
        EXPECT_EQ(static_cast<int32_t>(row.in.size()) - row.unused, made.used);
    }
}

// iconv alone, without any shortcut: what CharsetConvert must equal for every source but UTF-8.
Converted PlainIconv(const string &in, int32_t src, size_t unit) {
    string name = PellCharsetName(src);
    name = src == PELL_CODE_WINDOWS_936 ? "GB18030" : name.replace(0, name.find("WINDOWS-") == 0 ? 8 : 0, "");
    iconv_t handle =
        iconv_open("UTF-8", (name[0] == '8' || name[0] == '9' || name[0] == '1' ? "CP" + name : name).c_str());
    EXPECT_NE(reinterpret_cast<iconv_t>(-1), handle);
    std::vector<char> out(in.size() * 4 + 16);
    char *from = const_cast<char *>(in.data());
    char *to = out.data();
    size_t left = in.size();
    size_t room = out.size();
    while (left != 0 && iconv(handle, &from, &left, &to, &room) == static_cast<size_t>(-1) && errno == EILSEQ) {
        iconv(handle, nullptr, nullptr, &to, &room);
        to = std::copy_n("\uFFFD", 3, to);
        room -= 3;
        from += unit;
        left -= unit;
    }
    iconv(handle, nullptr, nullptr, &to, &room);
    iconv_close(handle);
    return {0, string(out.data(), to), static_cast<int32_t>(in.size() - left)};
}

string EncodeUtf8(uint32_t point) {
    auto part = [point](int shift, uint32_t lead, uint32_t mask) {
        return static_cast<char>((point >> shift & mask) | lead);
    };
    if (point < 0x80) {
        return {part(0, 0, 0x7F)};
    }
    if (point < 0x800) {
        return {part(6, 0xC0, 0x1F), part(0, 0x80, 0x3F)};
    }
    if (point < 0x10000) {
        return point >= 0xD800 && point < 0xE000
                   ? ""
                   : string{part(12, 0xE0, 0xF), part(6, 0x80, 0x3F), part(0, 0x80, 0x3F)};
    }
    return point > 0x10FFFF ? ""
                            : string{part(18, 0xF0, 7), part(12, 0x80, 0x3F), part(6, 0x80, 0x3F), part(0, 0x80, 0x3F)};
}

// A character is what some code point encodes to.
bool IsUtf8Character(const string &bytes) {
    uint32_t point = static_cast<uint8_t>(bytes[0]) & (bytes.size() == 1 ? 0xFFu : 0xFFu >> (bytes.size() + 1));
    for (size_t i = 1; i < bytes.size(); i++) {
        point = point << 6 | (static_cast<uint8_t>(bytes[i]) & 0x3F);
    }
    return EncodeUtf8(point) == bytes;
}

bool IsUtf8Beginning(const string &bytes) {
    for (size_t len = bytes.size() + 1; len <= 4; len++) {
        for (char fill : {'\x80', '\x90', '\xA0'}) {
            if (IsUtf8Character(bytes + string(len - bytes.size(), fill))) {
                return true;
            }
        }
    }
    return false;
}

Converted PlainUtf8(const string &in) {
    Converted made = {0, "", 0};
    for (size_t at = 0; at < in.size() && !IsUtf8Beginning(in.substr(at));) {
        size_t len = 1;
        while (len <= 4 && (at + len > in.size() || !IsUtf8Character(in.substr(at, len)))) {
            len++;
        }
        made.out += len <= 4 ? in.substr(at, len) : "\uFFFD"s;
        at += len <= 4 ? len : 1;
        made.used = static_cast<int32_t>(at);
    }
    return made;
}

struct Random {
    uint64_t state;
    size_t operator()() {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<size_t>(state >> 33);
    }
};

// Random bytes with runs of ASCII of every length around the limits of the shortcuts.
string RandomText(Random &random, const string &sample) {
    string text;
    for (size_t parts = random() % 6; parts-- != 0;) {
        size_t kind = random() % 3;
        for (size_t n = random() % 40; kind == 0 && n-- != 0;) {
            text += static_cast<char>(random() % 128);
        }
        for (size_t n = random() % 8; kind == 1 && n-- != 0;) {
            text += static_cast<char>(random() % 0xF0);
        }
        text += kind == 2 ? sample.substr(random() % sample.size()) : "";
    }
    return text;
}

TEST_F(Charset, ShortcutsGiveWhatPlainIconvGives) {
    Random random = {20240501};
    for (const Sample &row : g_samples) {
        SCOPED_TRACE(PellCharsetName(row.type));
        size_t unit = row.type == PELL_CODE_UTF16LE || row.type == PELL_CODE_UTF16BE   ? 2
                      : row.type == PELL_CODE_UTF32LE || row.type == PELL_CODE_UTF32BE ? 4
                                                                                       : 1;
        for (int32_t i = 0; i < 400; i++) {
            string text = RandomText(random, row.bytes);
            Converted fast = Convert(text, row.type, PELL_CODE_UTF8);
            Converted plain = row.type == PELL_CODE_UTF8 ? PlainUtf8(text) : PlainIconv(text, row.type, unit);
            ASSERT_EQ(plain.out, fast.out) << ::testing::PrintToString(text);
            ASSERT_EQ(plain.used, fast.used) << ::testing::PrintToString(text);
        }
    }
}

// The way by single characters against the two steps over UTF-8.
TEST_F(Charset, EveryPairGivesWhatTheTwoStepsOverUtf8Give) {
    Random random = {7};
    for (const Sample &row : g_samples) {
        for (int32_t dst : AllTypes()) {
            // These two compose a letter with its mark only when both go through at once.
            if (row.type == dst || row.type == PELL_CODE_WINDOWS_1255 || row.type == PELL_CODE_WINDOWS_1258) {
                continue;
            }
            string text = RandomText(random, row.bytes) + row.bytes;
            Converted step = Convert(text, row.type, PELL_CODE_UTF8);
            Converted once = Convert(text, row.type, dst);
            EXPECT_EQ(step.used, once.used);
            EXPECT_EQ(Convert(step.out, PELL_CODE_UTF8, dst).out, once.out)
                << PellCharsetName(row.type) << " to " << PellCharsetName(dst);
        }
    }
}

TEST_F(Charset, HandlesAreKeptBetweenLinesAndClosedAtTheEnd) {
    Convert("\xC7\xD1", PELL_CODE_WINDOWS_949, PELL_CODE_UTF8);
    Convert("\xE9", PELL_CODE_WINDOWS_1252, PELL_CODE_UTF8);
    int before = g_s32Opens;
    for (int32_t i = 0; i < 100; i++) {
        EXPECT_EQ("한", Convert("\xC7\xD1", PELL_CODE_WINDOWS_949, PELL_CODE_UTF8).out);
        EXPECT_EQ("é", Convert("\xE9", PELL_CODE_WINDOWS_1252, PELL_CODE_UTF8).out);
        Convert("한", PELL_CODE_UTF8, PELL_CODE_UTF8);
    }
    EXPECT_EQ(before, g_s32Opens);

    g_s32Opens = g_s32Closes = 0;
    void *other = nullptr;
    ASSERT_EQ(0, g_charsetOps.create(&other, 0));
    std::swap(other, hCharset);
    for (const Sample &row : g_samples) {
        Convert(row.bytes, row.type, PELL_CODE_UTF8);
        Convert(row.utf8, PELL_CODE_UTF8, row.type);
    }
    std::swap(other, hCharset);
    g_charsetOps.destroy(other);
    EXPECT_GT(g_s32Opens, 20);
    EXPECT_EQ(g_s32Opens, g_s32Closes);
}

TEST_F(Charset, AConversionThatCannotBeOpenedFailsAndWritesNothing) {
    g_bOpenFails = true;
    uint8_t out[8] = {9};
    int32_t len = 8;
    int32_t used = 5;
    const uint8_t in[] = {0xC7, 0xD1};
    EXPECT_EQ(-1, g_charsetOps.convert(hCharset, out, &len, in, 2, PELL_CODE_WINDOWS_949, PELL_CODE_UTF8, &used));
    EXPECT_EQ(8, len);
    EXPECT_EQ(9, out[0]);
    EXPECT_EQ("é", Convert("é", PELL_CODE_UTF8, PELL_CODE_UTF8).out);
    EXPECT_EQ(-1, Identify("\xC7\xD1\xB1\xDB"));
    g_bOpenFails = false;
    EXPECT_EQ("한", Convert("\xC7\xD1", PELL_CODE_WINDOWS_949, PELL_CODE_UTF8).out);
}

// A text as long as a few cues in its language.
struct Language {
    int32_t type;
    const char *utf8;
};
const Language g_languages[] = {
    {PELL_CODE_WINDOWS_949, "오늘은 날씨가 아주 좋네요.\n우리 같이 산책하러 갈까요?\n네, 저도 그러고 싶었어요.\n"},
    {PELL_CODE_WINDOWS_936, "今天的天气非常好。\n我们一起去公园散步吧，你觉得怎么样？\n好的，我也是这么想的。\n"},
    {PELL_CODE_WINDOWS_950, "今天的天氣非常好。\n我們一起去公園散步吧，你覺得怎麼樣？\n好的，我也是這麼想的。\n"},
    {PELL_CODE_WINDOWS_932, "今日はとてもいい天気ですね。\n一緒に公園へ散歩に行きませんか？\nはい、行きましょう。\n"},
    {PELL_CODE_EUC_JP, "今日はとてもいい天気ですね。\n一緒に公園へ散歩に行きませんか？\nはい、行きましょう。\n"},
    {PELL_CODE_WINDOWS_1251,
     "Сегодня очень хорошая погода.\nПойдём погуляем в парке вместе?\nДа, я тоже об этом думал.\n"},
    {PELL_CODE_KOI8_R, "Сегодня очень хорошая погода.\nПойдём погуляем в парке вместе?\nДа, я тоже об этом думал.\n"},
    {PELL_CODE_IBM866, "Сегодня очень хорошая погода.\nПойдём погуляем в парке вместе?\nДа, я тоже об этом думал.\n"},
    {PELL_CODE_WINDOWS_1253, "Σήμερα ο καιρός είναι πολύ καλός.\nΠάμε μαζί μια βόλτα στο πάρκο;\nΝαι, κι εγώ αυτό "
                             "σκεφτόμουν.\nΆρα φύγαμε.\n"},
    {PELL_CODE_WINDOWS_1255, "היום מזג האוויר יפה מאוד.\nבוא נלך יחד לטייל בפארק?\nכן, גם אני חשבתי על זה.\n"},
    {PELL_CODE_WINDOWS_1256, "الطقس جميل جدا اليوم.\nهل نذهب معا للتنزه في الحديقة؟\nنعم، كنت أفكر في ذلك أيضا.\n"},
    {PELL_CODE_WINDOWS_1254, "Bugün hava çok güzel.\nBirlikte parkta yürüyüşe çıkalım mı?\nEvet, ben de öyle "
                             "düşünüyordum.\nŞimdi değil ama yarın sabah.\n"},
    {PELL_CODE_WINDOWS_874, "วันนี้อากาศดีมาก\nเราไปเดินเล่นในสวนด้วยกันไหม\nใช่ ฉันก็คิดอย่างนั้นเหมือนกัน\n"},
    {PELL_CODE_WINDOWS_1250, "Dnes je opravdu krásné počasí.\nPůjdeme se spolu projít do parku?\nAno, taky jsem na "
                             "to myslel. Žádný problém, šéfe.\n"},
    {PELL_CODE_WINDOWS_1252, "Il fait très beau aujourd’hui.\nOn va se promener ensemble dans le parc ?\nOui, j’y "
                             "avais pensé aussi. À tout à l’heure, ça ira.\n"},
    {PELL_CODE_WINDOWS_1258, "Hôm nay trời rất đẹp.\nChúng ta cùng đi dạo trong công viên nhé?\nVâng, tôi cũng đang "
                             "nghĩ như vậy. Đi thôi.\n"},
};

TEST_F(Charset, LanguagesAreToldApart) {
    for (const Language &row : g_languages) {
        SCOPED_TRACE(row.utf8);
        string text = Convert(row.utf8, PELL_CODE_UTF8, row.type).out;
        EXPECT_STREQ(PellCharsetName(row.type), PellCharsetName(Identify(text)));
        EXPECT_GE(Source(), PELL_CHARSET_SOURCE_STATISTICS);
        int32_t next = Identify(text, PELL_CHARSET_HINT_NEXT);
        EXPECT_NE(row.type, next);
        EXPECT_NE(nullptr, PellCharsetName(next));
        EXPECT_EQ(next, Identify(text, PELL_CHARSET_HINT_NEXT));
    }
}

TEST_F(Charset, WhatDecidesInWhichOrder) {
    string korean = "\xBE\xC8\xB3\xE7\xC7\xCF\xBC\xBC\xBF\xE4\n"; // also Chinese characters in 936
    string damaged;
    string digits;
    for (int i = 0; i < 40; i++) {
        digits += "1\0"s;
        damaged += "été\n";
    }
    const struct {
        string text;
        int32_t hint;
        int32_t type;
        int32_t source;
    } rows[] = {
        {"\xFF\xFE\0\0a\0\0\0"s, 0, PELL_CODE_UTF32LE, PELL_CHARSET_SOURCE_BOM},
        {"\xFF\xFE"s + "a\0\0\0"s, 0, PELL_CODE_UTF16LE, PELL_CHARSET_SOURCE_BOM},
        {"\0\0\xFE\xFF\0\0\0a"s, 0, PELL_CODE_UTF32BE, PELL_CHARSET_SOURCE_BOM},
        {"\xFE\xFF\0a"s, PELL_CODE_WINDOWS_949, PELL_CODE_UTF16BE, PELL_CHARSET_SOURCE_BOM},
        {"\xFE\xFF\0a"s, PELL_CHARSET_HINT_NEXT, PELL_CODE_UTF16BE, PELL_CHARSET_SOURCE_BOM},
        {"\xEF\xBB\xBF\xC7\xD1", 0, PELL_CODE_UTF8, PELL_CHARSET_SOURCE_BOM},
        {"1\0\n\0\x2D\x4E\x87\x65\n\0"s, 0, PELL_CODE_UTF16LE, PELL_CHARSET_SOURCE_STATISTICS},
        {"\0001\0\n\x4E\x2D\x65\x87\0\n"s, PELL_CODE_WINDOWS_949, PELL_CODE_UTF16BE, PELL_CHARSET_SOURCE_STATISTICS},
        {digits + "\x00\x30"s, 0, PELL_CODE_UTF16LE, PELL_CHARSET_SOURCE_STATISTICS},
        {"a\0\0\0b\0\0\0c\0\0\0"s, 0, PELL_CODE_UTF8, PELL_CHARSET_SOURCE_ASCII},
        {"a line with one zero\0 in it"s, 0, PELL_CODE_UTF8, PELL_CHARSET_SOURCE_ASCII},
        {"ascii", PELL_CODE_WINDOWS_1251, PELL_CODE_UTF8, PELL_CHARSET_SOURCE_ASCII},
        {"ascii", PELL_CHARSET_HINT_NEXT, PELL_CODE_WINDOWS_1252, PELL_CHARSET_SOURCE_FALLBACK},
        {"été", PELL_CODE_WINDOWS_1252, PELL_CODE_UTF8, PELL_CHARSET_SOURCE_UTF8},
        {"\xC3\xA9t\xC3\xA9 \xE2\x82", 0, PELL_CODE_UTF8, PELL_CHARSET_SOURCE_UTF8},
        {"caf\xE9", PELL_CODE_WINDOWS_1252, PELL_CODE_WINDOWS_1252, PELL_CHARSET_SOURCE_HINT},
        {damaged + "\xE9t\xE9\n", 0, PELL_CODE_UTF8, PELL_CHARSET_SOURCE_STATISTICS},
        {damaged + "\xE9t\xE9\n", PELL_CODE_ISO_8859_1, PELL_CODE_ISO_8859_1, PELL_CHARSET_SOURCE_HINT},
        {korean, PELL_CODE_WINDOWS_936, PELL_CODE_WINDOWS_936, PELL_CHARSET_SOURCE_HINT},
        {korean, PELL_CODE_EUC_KR, PELL_CODE_EUC_KR, PELL_CHARSET_SOURCE_HINT},
        {korean + "caf\xE9 \xE0 la\n", PELL_CODE_WINDOWS_949, -2, -2}, // not 949 any more: not settled by the hint
        {korean + "\xFF\xFF\n", 0x7777, -2, -2},                       // a number that is no code type
        {"\xE9t\xE9s", PELL_CODE_UTF16LE, -2, -2},                     // decodes, but without a zero byte
        {"\x01\x02\x81\x03\x04\xFF\x05\x06"s, 0, -1, PELL_CHARSET_SOURCE_NONE},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.text) + " hint " + std::to_string(row.hint));
        int32_t type = Identify(row.text, row.hint);
        if (row.source == -2) {
            EXPECT_NE(row.hint, type);
            EXPECT_NE(PELL_CHARSET_SOURCE_HINT, Source());
        } else {
            EXPECT_EQ(row.type, type);
            EXPECT_EQ(row.source, Source());
        }
    }
}

// Too little to tell apart code types that agree in these bytes; what counts is that the text comes out right.
TEST_F(Charset, ShortTextsComeOutRight) {
    const Language rows[] = {
        {PELL_CODE_WINDOWS_936, "[00:05]月亮代表我的心\n"},   {PELL_CODE_WINDOWS_936, "谢谢你\n"},
        {PELL_CODE_WINDOWS_1252, "Don’t stop – not yet…\n"},  {PELL_CODE_WINDOWS_949, "1\n안녕하세요\n"},
        {PELL_CODE_WINDOWS_932, "ありがとうございます。\n"},  {PELL_CODE_WINDOWS_1251, "Привет, как дела?\n"},
        {PELL_CODE_WINDOWS_1251, "{\\i1}Куда\\Nты идёшь?\n"}, {PELL_CODE_WINDOWS_1252, "Où est-il passé ?\n"},
    };
    for (const Language &row : rows) {
        string text = Convert(row.utf8, PELL_CODE_UTF8, row.type).out;
        EXPECT_EQ(row.utf8, Convert(text, Identify(text), PELL_CODE_UTF8).out);
    }
}

TEST(CharsetNames, NumbersNamesAndAliases) {
    std::set<string> names;
    for (int32_t type : AllTypes()) {
        ASSERT_NE(nullptr, PellCharsetName(type));
        EXPECT_EQ(type, PellCharsetFromName(PellCharsetName(type)));
        EXPECT_TRUE(names.insert(PellCharsetName(type)).second);
    }
    EXPECT_EQ(2, PELL_CODE_UTF8);
    for (int32_t number : {0, 1, -1, 1259, 0x123456}) {
        EXPECT_EQ(nullptr, PellCharsetName(number));
    }
    const struct {
        const char *name;
        int32_t type;
    } rows[] = {
        {"utf8", PELL_CODE_UTF8},
        {"Utf_16 le", PELL_CODE_UTF16LE},
        {"cp1252", PELL_CODE_WINDOWS_1252},
        {"windows-1252", PELL_CODE_WINDOWS_1252},
        {"1252", PELL_CODE_WINDOWS_1252},
        {"latin1", PELL_CODE_ISO_8859_1},
        {"iso8859-15", PELL_CODE_ISO_8859_15},
        {"sjis", PELL_CODE_WINDOWS_932},
        {"Shift_JIS", PELL_CODE_WINDOWS_932},
        {"gbk", PELL_CODE_WINDOWS_936},
        {"gb2312", PELL_CODE_WINDOWS_936},
        {"Big5", PELL_CODE_WINDOWS_950},
        {"euckr", PELL_CODE_EUC_KR},
        {"cp949", PELL_CODE_WINDOWS_949},
        {"UHC", PELL_CODE_WINDOWS_949},
        {"cp866", PELL_CODE_IBM866},
        {"koi8r", PELL_CODE_KOI8_R},
        {"", 0},
        {"--", 0},
        {"cp", 0},
        {"2", 0},
        {"cp12520", 0},
        {"cp99999999999999999999", 0},
        {"a name far longer than any that a code type has", 0},
        {nullptr, 0},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.type, PellCharsetFromName(row.name)) << (row.name != nullptr ? row.name : "null");
    }
}

TEST(CharsetSlots, ArgumentsAreChecked) {
    void *handle = nullptr;
    uint8_t byte = 'a';
    int32_t len = 1;
    int32_t value = 0;
    EXPECT_NE(0, g_charsetOps.create(nullptr, 0));
    ASSERT_EQ(0, g_charsetOps.create(&handle, 0));
    EXPECT_EQ(PELL_CHARSET_SOURCE_NONE, PellCharsetLastSource(handle));
    EXPECT_EQ(PELL_CHARSET_SOURCE_NONE, PellCharsetLastSource(nullptr));
    EXPECT_NE(0, g_charsetOps.getCodeType(nullptr, &byte, 1, 0, &value));
    EXPECT_NE(0, g_charsetOps.getCodeType(handle, nullptr, 1, 0, &value));
    EXPECT_NE(0, g_charsetOps.getCodeType(handle, &byte, 0, 0, &value));
    EXPECT_NE(0, g_charsetOps.getCodeType(handle, &byte, 1, 0, nullptr));
    EXPECT_NE(0, g_charsetOps.convert(nullptr, &byte, &len, &byte, 1, 2, 2, &value));
    EXPECT_NE(0, g_charsetOps.convert(handle, nullptr, &len, &byte, 1, 2, 2, &value));
    EXPECT_NE(0, g_charsetOps.convert(handle, &byte, nullptr, &byte, 1, 2, 2, &value));
    EXPECT_NE(0, g_charsetOps.convert(handle, &byte, &len, nullptr, 1, 2, 2, &value));
    EXPECT_NE(0, g_charsetOps.convert(handle, &byte, &len, &byte, -1, 2, 2, &value));
    EXPECT_NE(0, g_charsetOps.convert(handle, &byte, &len, &byte, 1, 2, 2, nullptr));
    EXPECT_NE(0, g_charsetOps.convert(handle, &byte, &len, &byte, 1, 1, 2, &value));
    EXPECT_NE(0, g_charsetOps.convert(handle, &byte, &len, &byte, 1, 2, -1, &value));
    EXPECT_EQ(1, len);
    EXPECT_NE(0, g_charsetOps.getStreamType(2, nullptr));
    g_charsetOps.destroy(handle);
    g_charsetOps.destroy(nullptr);
    ASSERT_NE(nullptr, g_charsetOps.reserved);
    g_charsetOps.reserved();
    const int32_t streams[][2] = {{2, 1}, {3, 2}, {4, 3}, {5, 4}, {6, 5}, {0, 6}, {1252, 6}, {949, 6}, {-1, 6}};
    for (const auto &row : streams) {
        EXPECT_EQ(0, g_charsetOps.getStreamType(row[0], &value));
        EXPECT_EQ(row[1], value) << row[0];
    }
}

} // namespace
