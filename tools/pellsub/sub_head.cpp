// What the first lines of a .sub file tell: its form, its frame rate, and whether it is text at all.
#include "tools/pellsub/sub_head.h"

#include <algorithm>
#include <charconv>
#include <iterator>

static const SubForm kMicrodvd = {"microdvd", "MicroDVD", "{100}{150}text", true};
static const SubForm kSubviewer = {"subviewer", "SubViewer", "00:00:01.000,00:00:03.000", false};
static const SubForm kMpsub = {"mpsub", "MPSub", "FORMAT=TIME", false};
static const SubForm kDvdText = {"dvdsubtitle", "DVD subtitle text", "{T 00:00:01:00", false};
static const SubForm *const kForms[] = {&kMicrodvd, &kSubviewer, &kMpsub, &kDvdText};

// The plug-in looks no further.
static constexpr int kMaxLines = 100;
static constexpr size_t kMaxLine = SVR_SUB_STR_IN_MAX_LEN - 1;

static void SkipBlanks(std::string_view &text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\v\f"), text.size()));
}

// Blanks before a number, and a sign, are as the plug-in's number fields take them.
static bool TakeNumber(std::string_view &text) {
    SkipBlanks(text);
    text.remove_prefix(text.starts_with('-') || text.starts_with('+') ? 1 : 0);
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(digits);
    return digits > 0;
}

// Takes off the front of the text what the pattern says: "#" a number, " " blanks or none, "~" a comma or a point, "$"
// nothing, but something must follow; all else itself.
static bool TakePattern(std::string_view &text, const char *pattern) {
    bool taken = true;
    for (; *pattern != '\0' && taken; pattern++) {
        if (*pattern == '#') {
            taken = TakeNumber(text);
        } else if (*pattern == ' ') {
            SkipBlanks(text);
        } else if (*pattern == '$') {
            taken = !text.empty();
        } else {
            const bool separator = *pattern == '~' && (text.starts_with(',') || text.starts_with('.'));
            taken = separator || (*pattern != '~' && text.starts_with(*pattern));
            text.remove_prefix(taken ? 1 : 0);
        }
    }
    return taken;
}

static const SubForm *FormOfLine(std::string_view line, std::string_view &rest) {
    static constexpr struct {
        const SubForm *form;
        const char *pattern;
    } rows[] = {
        {&kMicrodvd, "{#}{#}$"},
        {&kMicrodvd, "{#}{}$"},
        {&kSubviewer, "#:#:#.#,#:#:#.#"},
        {&kSubviewer, "#:#:#~# --> #:#:#~#"},
        {&kMpsub, "FORMAT=#"},
        {&kMpsub, "FORMAT=TIME"},
        {&kDvdText, "{T #:#:#:#"},
    };
    for (const auto &row : rows) {
        rest = line;
        if (TakePattern(rest, row.pattern)) {
            return row.form;
        }
    }
    return nullptr;
}

// A text of nothing but digits and points is a rate, read as far as it is a number.
static double RateIn(std::string_view text) {
    double rate = 0;
    if (text.find_first_not_of("0123456789.") == text.npos) {
        std::from_chars(text.data(), text.data() + text.size(), rate, std::chars_format::fixed);
    }
    return rate;
}

// All that forms are told by is ASCII: without a byte-order mark and zeros, wide characters look like narrow ones.
static std::string NarrowText(std::string_view bytes) {
    for (const std::string_view mark : {"\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"}) {
        bytes.remove_prefix(bytes.starts_with(mark) ? mark.size() : 0);
    }
    std::string text;
    std::copy_if(bytes.begin(), bytes.end(), std::back_inserter(text), [](char ch) { return ch != '\0'; });
    return text;
}

SubHead SubHeadOf(std::string_view bytes) {
    const std::string text = NarrowText(bytes);
    SubHead head;
    size_t begin = 0;
    for (int i = 0; i < kMaxLines && begin < text.size() && head.form == nullptr; i++) {
        const size_t end = std::min(text.find_first_of("\r\n", begin), text.size());
        std::string_view rest;
        head.form = FormOfLine(std::string_view(text).substr(begin, std::min(end - begin, kMaxLine)), rest);
        head.rate = head.form != nullptr && head.form->inFrames ? RateIn(rest) : 0;
        begin = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    }
    return head;
}

std::string SubFormList() {
    std::string list;
    for (const SubForm *form : kForms) {
        list += std::string(list.empty() ? "" : ", ") + form->title + " (" + form->example + ")";
    }
    return list;
}

bool BeginsWithPack(std::string_view bytes) {
    return bytes.starts_with(std::string_view("\x00\x00\x01\xBA", 4));
}

std::string HeadOf(const Protocol *protocol, const std::string &url, size_t size) {
    static constexpr size_t kStep = 256 << 10;
    std::string bytes;
    void *handle = nullptr;
    if (protocol->url_open(url.c_str(), 0, &handle) == 0) {
        int32_t count = 1;
        while (bytes.size() < size && count > 0) {
            const size_t used = bytes.size();
            bytes.resize(std::min(used + kStep, size));
            count = protocol->url_read(handle, reinterpret_cast<uint8_t *>(bytes.data()) + used,
                                       static_cast<int32_t>(bytes.size() - used));
            bytes.resize(used + static_cast<size_t>(std::max(count, 0)));
        }
        protocol->url_close(handle);
    }
    return bytes;
}
