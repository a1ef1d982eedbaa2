// The plug-in's messages pass through the tool, which counts them on their way to the player's library.
#pragma once

#include <cstdint>

// The player's own function, to which messages go on. Null: they end here.
void PassMessagesTo(void *function);

// Failed checks that the plug-in has told of so far.
uint64_t MessageCount();
