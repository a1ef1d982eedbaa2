// Writes a generated file and says where; or opens and indexes a file, and reads it where asked to: what runs while
// instructions are counted.   one_file write KIND CUES FOLDER   one_file index|read FILE
#include "bench/make_inputs.h"
#include "format/pell_format.h"

#include <cstdio>
#include <cstdlib>

static int Write(const char *pszKind, int32_t s32Cues, const char *pszFolder) {
    const InputKind *pstKind = FindInput(pszKind);
    const std::string strPath = pstKind != nullptr ? WriteInput(pstKind, s32Cues, pszFolder) : "";
    printf("%s\n", strPath.c_str());
    return strPath.empty() ? 1 : 0;
}

int main(int argc, char **argv) {
    if (argc == 5) {
        return Write(argv[2], atoi(argv[3]), argv[4]);
    }
    void *hFmt = nullptr;
    if (argc != 3 || g_formatEntry.fmt_open(argv[2], PellProtocolOf(&g_formatEntry), &hFmt) != 0 ||
        g_formatEntry.fmt_find_stream(hFmt, 0) != 0) {
        return 1;
    }
    FmtFrame stFrame = {};
    while (argv[1] == std::string("read") && g_formatEntry.fmt_read(hFmt, &stFrame) == 0) {
        g_formatEntry.fmt_free(hFmt, &stFrame);
    }
    return g_formatEntry.fmt_close(hFmt);
}
