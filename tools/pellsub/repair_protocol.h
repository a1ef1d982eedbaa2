// Bytes in memory served to the plug-in as if they were the file.
#pragma once

#include "format/pell_format.h"

#include <string>

// The protocol to open a URL through. What this thread opens next reads these bytes, whatever the URL is; they must
// stay as they are until it is closed.
Protocol *ProtocolServing(const std::string &bytes);
