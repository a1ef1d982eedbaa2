// What the tool may do on standard output and standard error: a terminal gets harmless text, and colour if it is
// wanted.
#include "tools/pellsub/colour.h"

#include <cstdlib>
#include <fmt/format.h>
#include <unistd.h>

static Screen g_output;
static Screen g_error;

// NO_COLOR counts when it is set to anything; a terminal that says nothing of itself is taken for a dumb one.
static bool ColourIsWanted() {
    const char *no = std::getenv("NO_COLOR");
    const char *term = std::getenv("TERM");
    return (no == nullptr || *no == '\0') && term != nullptr && std::string_view(term) != "dumb";
}

void LookAtScreens() {
    g_output.terminal = isatty(STDOUT_FILENO) == 1;
    g_output.colour = g_output.terminal && ColourIsWanted();
    g_error.terminal = isatty(STDERR_FILENO) == 1;
    g_error.colour = g_error.terminal && ColourIsWanted();
}

const Screen &OutputScreen() {
    return g_output;
}

const Screen &ErrorScreen() {
    return g_error;
}

std::string Coloured(const Screen &screen, Colour colour, std::string_view text) {
    return screen.colour ? fmt::format("\033[{}m{}\033[0m", static_cast<int>(colour), text) : std::string(text);
}
