// Strangers' bytes to text that a terminal shows but does not obey.
#pragma once

#include <string>
#include <string_view>

// Control characters (all but line feed and tab), bidirectional overrides and bytes that are no UTF-8 become visible:
// \u001b, \u202e, \x9b. Carriage returns just before a line feed are dropped, they would change nothing.
std::string HarmlessText(std::string_view text);

bool IsUtf8(std::string_view text);
