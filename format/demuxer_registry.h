// The demuxers of this library, and the probe that picks one for a URL.
#pragma once

#include "format/pell_format.h"

// Fills the registry on first use, then asks each demuxer in turn; the first that accepts the URL, or null.
FormatEntry *DemuxerRegister(const char *pszUrl, Protocol *pstProtocol);
