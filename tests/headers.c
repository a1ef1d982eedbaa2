/* The public headers, alone, as a C11 host includes them. */
#include "format/pell_format.h"

#include "charset/pell_charset.h"

int PellHeadersCompileAsC(void);

int PellHeadersCompileAsC(void) {
    return PellProtocolOf(&g_formatEntry)->url_find != 0 && g_charsetOps.create != 0;
}
