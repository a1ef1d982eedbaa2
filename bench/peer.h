// The peer that gets the same files: a general media library, where one was found when the build was set up.
#pragma once

#include <cstdint>
#include <string>

struct PeerOps {
    std::string strName;                                          // with its version
    void *(*pfnOpen)(const char *pszPath, const char *pszFormat); // opens and thereby indexes; null when it cannot
    void (*pfnClose)(void *hPeer);
    bool (*pfnRead)(void *hPeer); // false at the end
    bool (*pfnSeek)(void *hPeer, int64_t s64Ms);
};

// Null: there is none.
extern const PeerOps *const g_pstPeer;
