// Text to standard output and standard error, made harmless where a terminal shows it.
#include "tools/pellsub/report.h"

#include "tools/pellsub/colour.h"
#include "tools/pellsub/progress.h"
#include "tools/pellsub/terminal_text.h"

#include <cstdio>
#include <fmt/format.h>

static void Write(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void Put(const Output &out, std::string_view text) {
    if (!out.terminal) {
        Write(text);
        return;
    }
    HideProgress();
    Write(HarmlessText(text));
}

void PutHeading(const Output &out, std::string_view text) {
    if (!out.terminal) {
        Write(text);
        return;
    }
    HideProgress();
    Write(Coloured(OutputScreen(), COLOUR_BOLD, HarmlessText(text)));
}

bool IsFormat(const FileFacts &facts, std::string_view format) {
    return facts.format != nullptr && facts.format == format;
}

std::optional<int64_t> ToldEnd(const FileFacts &facts, const Cue &cue) {
    const bool mayOnlyBegin = IsFormat(facts, "lrc") || IsFormat(facts, "sub");
    return mayOnlyBegin && cue.endMs == cue.startMs ? std::nullopt : cue.endMs;
}

std::string ColourText(uint32_t colour) {
    return fmt::format("#{:06x}", colour >> 8);
}

static std::string Harmless(const std::string &text) {
    return ErrorScreen().terminal ? HarmlessText(text) : text;
}

// The message is harmless and may be coloured.
static void PutMessage(const std::string &name, const std::string &message) {
    HideProgress();
    std::fflush(stdout);
    std::fputs(fmt::format("pellsub: {}{}{}\n", Harmless(name), name.empty() ? "" : ": ", message).c_str(), stderr);
}

void Complain(const std::string &name, const std::string &message) {
    static constexpr std::string_view kWarning = "warning:";
    const std::string text = Harmless(message);
    if (text.compare(0, kWarning.size(), kWarning) == 0) {
        PutMessage(name, Coloured(ErrorScreen(), COLOUR_YELLOW, kWarning) + text.substr(kWarning.size()));
    } else {
        PutMessage(name, Coloured(ErrorScreen(), COLOUR_RED, text));
    }
}

void Note(const std::string &name, const std::string &message) {
    PutMessage(name, Harmless(message));
}
