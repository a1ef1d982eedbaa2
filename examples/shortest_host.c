#include "format/pell_format.h"

#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char **argv) {
    void *library = dlopen("libpell_format.so", RTLD_NOW);
    FormatEntry *entry = library != NULL ? dlsym(library, "g_formatEntry") : NULL;
    void *file = NULL;
    FmtFrame frame = {0};
    int32_t result = -2;

    if (argc < 2 || entry == NULL || entry->fmt_open(argv[1], PellProtocolOf(entry), &file) != 0) {
        fprintf(stderr, "cannot open the plug-in or the file\n");
        return 1;
    }
    if (entry->fmt_find_stream(file, 0) == 0) {
        result = entry->fmt_read(file, &frame);
    }
    /* -1: this cue failed, the next one may not; VobSub ends with it */
    for (int failed = 0; result != -2 && failed < 100; result = entry->fmt_read(file, &frame)) {
        failed = result == 0 ? 0 : failed + 1;
        if (result == 0) {
            printf("%lld ms: %.*s\n", (long long)frame.s64Pts, (int)frame.u32DataLen, (char *)frame.pu8Data);
            entry->fmt_free(file, &frame);
        }
    }
    return entry->fmt_close(file);
}
