// The public headers, alone, as a C++17 host includes them.
#include "format/pell_format.h"

#include "charset/pell_charset.h"

int PellHeadersCompileAsCpp();

int PellHeadersCompileAsCpp() {
    return PellProtocolOf(&g_formatEntry)->url_find != nullptr && g_charsetOps.create != nullptr ? 1 : 0;
}
