// A subtitle file's lines as they stand in it, in the encoding that the converter finds.
#include "tools/pellsub/source_text.h"

#include "charset/pell_charset.h"
#include "tools/pellsub/sub_head.h"

#include <algorithm>

static constexpr size_t kMaxSize = 64u << 20;
static constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// --- characters ----------------------------------------------------------------------------------------------------

// An instance of the converter for as long as it is looked at.
struct Converter {
    Converter() {
        usable = g_charsetOps.create(&handle, 0) == 0;
    }
    ~Converter() {
        if (usable) {
            g_charsetOps.destroy(handle);
        }
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;

    void *handle = nullptr;
    bool usable = false;
};

static const uint8_t *Bytes(std::string_view text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}

// The plug-in asks for files of up to this size only.
static int32_t Identify(std::string_view bytes) {
    const Converter converter;
    int32_t codeType = PELL_CODE_UNKNOWN;
    if (!converter.usable || bytes.empty() || bytes.size() > SVR_SUB_IDENTIFY_MAX_SIZE ||
        g_charsetOps.getCodeType(converter.handle, Bytes(bytes), static_cast<int32_t>(bytes.size()), 0, &codeType) !=
            0) {
        return PELL_CODE_UNKNOWN;
    }
    return codeType;
}

std::string Converted(std::string_view text, int32_t from, int32_t to) {
    const Converter converter;
    std::string out(text.size() * 4 + 16, '\0');
    int32_t size = static_cast<int32_t>(out.size());
    int32_t used = 0;
    if (!converter.usable || text.empty() ||
        g_charsetOps.convert(converter.handle, reinterpret_cast<uint8_t *>(out.data()), &size, Bytes(text),
                             static_cast<int32_t>(text.size()), from, to, &used) != 0) {
        return std::string(text);
    }
    out.resize(static_cast<size_t>(size));
    const bool cutOff = static_cast<size_t>(used) < text.size() && to == PELL_CODE_UTF8;
    return out.append(cutOff ? kReplacement : "");
}

static size_t CountOf(std::string_view text, std::string_view part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) {
        count++;
    }
    return count;
}

bool IsUndecodable(const SourceText &source, const SourceLine &line) {
    const bool ascii = std::all_of(line.bytes.begin(), line.bytes.end(),
                                   [](char ch) { return ch != '\0' && static_cast<unsigned char>(ch) < 0x80; });
    if (ascii && source.width == 1) {
        return false;
    }
    const bool knowsReplacement = source.width > 1 || source.codeType == PELL_CODE_UTF8;
    const std::string text = source.width > 1 ? line.text : Converted(line.bytes, source.codeType, PELL_CODE_UTF8);
    const size_t written = knowsReplacement && source.width == 1 ? CountOf(line.bytes, kReplacement) : 0;
    return CountOf(text, kReplacement) > written;
}

// --- lines ---------------------------------------------------------------------------------------------------------

static size_t WidthOf(int32_t codeType) {
    const bool wide = codeType == PELL_CODE_UTF16LE || codeType == PELL_CODE_UTF16BE;
    const bool widest = codeType == PELL_CODE_UTF32LE || codeType == PELL_CODE_UTF32BE;
    return wide ? 2 : (widest ? 4 : 1);
}

static std::string_view MarkOf(std::string_view bytes, size_t width) {
    const std::string_view mark = width == 1 ? std::string_view("\xEF\xBB\xBF") : bytes.substr(0, width);
    const bool wideMark = mark == "\xFF\xFE" || mark == "\xFE\xFF" || mark == std::string_view("\xFF\xFE\0\0", 4) ||
                          mark == std::string_view("\0\0\xFE\xFF", 4);
    size_t size = 0;
    while ((width == 1 || wideMark) && bytes.substr(size).starts_with(mark)) {
        size += mark.size();
    }
    return bytes.substr(0, size);
}

// The character at this place, as far as it is ASCII; 0x7F for all others, and behind the end.
static char AsciiAt(const SourceText &source, size_t at) {
    at = std::min(at, source.bytes.size());
    const std::string_view unit = std::string_view(source.bytes).substr(at, source.width);
    const bool bigEndian = source.codeType == PELL_CODE_UTF16BE || source.codeType == PELL_CODE_UTF32BE;
    const size_t low = bigEndian ? unit.size() - 1 : 0;
    for (size_t i = 0; i < unit.size(); i++) {
        if (i != low && unit[i] != '\0') {
            return '\x7F';
        }
    }
    return unit.empty() ? '\x7F' : unit[low];
}

// How many characters end a line here: 0 where none does. A carriage return may come twice before the line feed.
static size_t LineEndAt(const SourceText &source, size_t at) {
    const auto is = [&](size_t n, char ch) {
        return AsciiAt(source, at + n * source.width) == ch;
    };
    if (is(0, '\n')) {
        return 1;
    }
    if (!is(0, '\r')) {
        return 0;
    }
    return is(1, '\n') ? 2 : (is(1, '\r') && is(2, '\n') ? 3 : 1);
}

static void AddLine(SourceText &source, size_t begin, size_t end, size_t endCharacters) {
    static constexpr std::string_view kEnds[] = {"", "\n", "\r\n", "\r\r\n"};
    SourceLine &line = source.lines.emplace_back();
    line.offset = begin;
    line.bytes = std::string_view(source.bytes).substr(begin, end - begin);
    line.text = source.width == 1 ? std::string(line.bytes) : Converted(line.bytes, source.codeType, PELL_CODE_UTF8);
    line.end = endCharacters == 1 && AsciiAt(source, end) == '\r' ? "\r" : kEnds[endCharacters];
}

static void SplitLines(SourceText &source) {
    size_t begin = source.mark.size();
    for (size_t at = begin; at < source.bytes.size();) {
        const size_t characters = LineEndAt(source, at);
        const size_t next = std::min(at + std::max<size_t>(characters, 1) * source.width, source.bytes.size());
        if (characters > 0) {
            AddLine(source, begin, at, characters);
            begin = next;
        }
        at = next;
    }
    if (begin < source.bytes.size()) {
        AddLine(source, begin, source.bytes.size(), 0);
    }
}

bool ReadSource(FormatEntry *entry, const std::string &url, int32_t codeType, SourceText &source) {
    source.bytes = HeadOf(PellProtocolOf(entry), url, kMaxSize + 1);
    if (source.bytes.size() > kMaxSize) {
        return false;
    }
    source.codeType = codeType != 0 ? codeType : Identify(source.bytes);
    source.width = WidthOf(source.codeType);
    source.mark = MarkOf(source.bytes, source.width);
    SplitLines(source);
    return true;
}

size_t LineAt(const SourceText &source, int64_t offset) {
    const auto after =
        std::upper_bound(source.lines.begin(), source.lines.end(), offset,
                         [](int64_t at, const SourceLine &line) { return at < static_cast<int64_t>(line.offset); });
    return static_cast<size_t>(after - source.lines.begin());
}
