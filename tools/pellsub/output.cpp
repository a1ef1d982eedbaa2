// Text to standard output and standard error, made harmless where a terminal shows it.
#include "tools/pellsub/report.h"

#include "tools/pellsub/terminal_text.h"

#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>

void Put(const Output &out, std::string_view text) {
    const std::string harmless = out.terminal ? HarmlessText(text) : std::string();
    const std::string_view shown = out.terminal ? std::string_view(harmless) : text;
    std::fwrite(shown.data(), 1, shown.size(), stdout);
}

std::string ColourText(uint32_t colour) {
    return fmt::format("#{:06x}", colour >> 8);
}

void Complain(const std::string &name, const std::string &message) {
    const std::string line = fmt::format("pellsub: {}{}{}\n", name, name.empty() ? "" : ": ", message);
    std::fflush(stdout);
    std::fputs(isatty(STDERR_FILENO) ? HarmlessText(line).c_str() : line.c_str(), stderr);
}
