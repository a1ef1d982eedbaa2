// SAMI text as delivered to the text that a person reads.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// A piece of SAMI text: what is shown, or a tag.
struct SamiPiece {
    std::string_view tag; // "<font color=red>"; empty: text
    std::string text;     // entities are the characters they name; of a tag that ends a line "\n"
};

// The text in its order, without comments.
std::vector<SamiPiece> SamiPiecesOf(std::string_view text);

// Blanks as subtitle files have them around their lines: also that which does not break, and that which is as wide as
// a Chinese character. Takes them off the front of the text, or off its end.
void TrimFront(std::string_view &text);
void TrimBack(std::string_view &text);

// Tags and comments go, <br> in any form is a line end, entities become the characters they name. Lines lose the blanks
// around them, and lines with nothing else are left out: most files have <br> at the ends of their own lines, and both
// would count. What is no markup, as in "1 < 2 & 3", stays.
std::string SamiText(std::string_view text);
