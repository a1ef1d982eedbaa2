// SIGINT and SIGTERM to a stop request for the index build under way.
#pragma once

#include "format/pell_format.h"

// Call once, before anything else starts a thread.
void StartInterruptWatch();

// From here on a signal stops the build on this handle; at any other time it ends the tool as usual.
void BeginStoppable(const FormatEntry *entry, void *handle);

// The signal that stopped the build, or 0.
int EndStoppable();
