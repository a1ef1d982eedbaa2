// What the tool may do on standard output and standard error: a terminal gets harmless text, and colour if it is
// wanted.
#pragma once

#include <string>
#include <string_view>

struct Screen {
    bool terminal = false;
    bool colour = false;
};

// Finds out about both. Call it before anything is written, and before they are redirected.
void LookAtScreens();

const Screen &OutputScreen();
const Screen &ErrorScreen();

enum Colour { COLOUR_BOLD = 1, COLOUR_RED = 31, COLOUR_YELLOW = 33 };

// The text as the screen shows it in this colour, or as it is. It must be harmless already.
std::string Coloured(const Screen &screen, Colour colour, std::string_view text);
