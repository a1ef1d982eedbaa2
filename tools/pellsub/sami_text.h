// SAMI text as delivered to the text that a person reads.
#pragma once

#include <string>
#include <string_view>

// Tags and comments go, <br> in any form is a line end, entities become the characters they name. Lines lose the blanks
// around them, and lines with nothing else are left out: most files have <br> at the ends of their own lines, and both
// would count. What is no markup, as in "1 < 2 & 3", stays.
std::string SamiText(std::string_view text);
