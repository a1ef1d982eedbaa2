// The looks of ASS and SSA: the styles of a header, and what override blocks change of them.
#pragma once

#include "tools/pellsub/ass_text.h"
#include "tools/pellsub/styled_text.h"

#include <string>
#include <string_view>
#include <vector>

// How text looks, and where it stands. Colours of styles are left out: nearly every file has some, and few mean them.
struct AssLook {
    TextStyle style;
    int alignment = 0; // as on a numeric key pad; 0: not told
};

struct AssStyle {
    std::string name;
    AssLook look;
};

std::vector<AssStyle> AssStylesOf(std::string_view header);

// SSA counts 1 to 3 below, 5 to 7 on top and 9 to 11 in the middle. The place on a key pad, or 0.
int AssAlignmentOfSsa(int alignment);

// Applies the inside of a block, as in "\an8\i1". The base is what the text has without any. The first alignment
// counts.
void ApplyOverrides(std::string_view block, const std::vector<AssStyle> &styles, const AssLook &base, AssLook &look);

// The events of a frame, one below the other where they stand in the same place.
std::vector<StyledText> AssStyledTexts(const AssFields &fields, const std::vector<AssStyle> &styles,
                                       std::string_view frame);
