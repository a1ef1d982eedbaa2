// Gaps behind the buffers inside a handle that may not be touched, so that a byte too many is seen there as it is
// behind a block. Only the builds that search have them.
#pragma once

// Puts the gaps of an open handle under guard, or lets go of them before it is closed.
void FuzzGuard(const char *pszExtension, void *hFmt, bool bOn);
