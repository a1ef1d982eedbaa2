// Generated subtitle files, the same at every run.
#pragma once

#include <cstdint>
#include <string>

struct InputKind {
    const char *pszName; // as the benchmarks call it
    const char *pszExt;
    const char *pszPeer; // the peer's name for the format
    std::string (*pfnMake)(int32_t s32Cues);
    std::string (*pfnMakePacks)(int32_t s32Cues); // the second file of a VobSub pair, else null
};

// The kind of a name, or null. "srt_tags" has font and italic tags in every fourth cue, "srt_utf8" has characters
// beyond ASCII, "srt_utf16" is in UTF-16LE behind a byte-order mark.
const InputKind *FindInput(const std::string &strName);

// Writes the file (VobSub: the pair); its path, or an empty string.
std::string WriteInput(const InputKind *pstKind, int32_t s32Cues, const std::string &strFolder);

// Where a unit of a VobSub pair stands in the packet file.
struct VobSubUnit {
    uint32_t u32Pos;
    uint32_t u32Packs;
};
VobSubUnit VobSubUnitAt(int32_t s32Unit);
