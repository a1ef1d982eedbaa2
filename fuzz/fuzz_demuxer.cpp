// Any file, in any host: one program for each format.
#include "fuzz/life.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pu8Data, size_t uSize) {
    FuzzInput stInput = {pu8Data, pu8Data + uSize};
    const LifeScript stScript = LifeTakeScript(&stInput);
    g_u64FuzzTold += LifeRun(FUZZ_EXTENSION, &stScript, stInput);
    return 0;
}
