// Headers of SSA as those of ASS.
#pragma once

#include <string>
#include <string_view>

// Whether the styles are those of SSA.
bool IsSsaHeader(std::string_view header);

// The header with its styles as ASS has them, and the field of its events that ASS knows as the layer. Its other lines
// stay. Lines end in line feeds.
std::string AssHeaderOfSsa(std::string_view header);

// What stands before the times of an event, with a layer where SSA has a mark.
std::string AssBeforeOfSsa(std::string before);
