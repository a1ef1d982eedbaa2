// The hand-written scanners against the patterns and functions they stand for, on any text.
#include "fuzz/input.h"
#include "platform/text/decimal.h"
#include "subtitle/lrc/lrc_demuxer.h"
#include "subtitle/smi/smi_demuxer.h"
#include "tests/host_double.h"
#include "tests/scan_reference.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <strings.h>
#include <vector>

// A tag that begins with "[" and ends, as a line does, at its first zero byte.
static void ScanLrc(TextSpan stSpan, const char *pszText) {
    const int32_t s32Len = static_cast<int32_t>(strlen(pszText));
    if (*pszText != '[') {
        return;
    }
    int a[3] = {};
    const int32_t s32Fields = sscanf(pszText, "[%2d:%2d.%2d]", &a[0], &a[1], &a[2]); // NOLINT(cert-err34-c)
    int64_t s64Time = 0;
    FUZZ_CHECK(LrcScanTimeTag({stSpan.pu8Text, s32Len}, &s64Time) == (s32Fields >= 2));
    FUZZ_CHECK(s32Fields < 2 || s64Time == (a[0] * 60LL + a[1]) * 1000LL + (s32Fields == 3 ? a[2] : 0));
}

static void ScanSmi(TextSpan stSpan, const char *) {
    int32_t s32First = 0;
    const SmiTag enTag = SmiMatchTag(stSpan, &s32First);
    const uint8_t *pu8First = std::find_if(stSpan.pu8Text, SvrSpanEnd(stSpan), [](uint8_t u8) { return u8 != ' '; });
    FUZZ_CHECK(stSpan.pu8Text + s32First == pu8First);
    const size_t uLeft = static_cast<size_t>(SvrSpanEnd(stSpan) - pu8First);
    int32_t s32Tag = 0;
    for (; s32Tag < SMI_TAG_NONE; s32Tag++) {
        const size_t uLen = strlen(SMI_INFOMATCH[s32Tag]);
        if (uLen <= uLeft && strncasecmp(reinterpret_cast<const char *>(pu8First), SMI_INFOMATCH[s32Tag], uLen) == 0) {
            break;
        }
    }
    FUZZ_CHECK(enTag == s32Tag);
}

static void ScanWhole(TextSpan stSpan, const char *pszText) {
    const uint8_t *pu8End = SvrSpanEnd(stSpan);
    int64_t s64Value = 0;
    const uint8_t *pu8After = SvrScanInt64(stSpan.pu8Text, pu8End, INT32_MAX, &s64Value);
    char *pszAfter = nullptr;
    const long long s64Ref = strtoll(pszText, &pszAfter, 10);
    FUZZ_CHECK((pu8After != nullptr) == (pszAfter != pszText));
    FUZZ_CHECK(pu8After == nullptr || (s64Value == s64Ref && pu8After - stSpan.pu8Text == pszAfter - pszText));
    int32_t s32Value = 0;
    FUZZ_CHECK(SvrScanInt(stSpan.pu8Text, pu8End, INT32_MAX, &s32Value) == pu8After);
    FUZZ_CHECK(pu8After == nullptr || s32Value == std::clamp<int64_t>(s64Ref, INT32_MIN, INT32_MAX));

    int s32Ref = 0;
    int s32Used = 0;
    const bool bRef = sscanf(pszText, "%2d%n", &s32Ref, &s32Used) == 1; // NOLINT(cert-err34-c)
    pu8After = SvrScanInt(stSpan.pu8Text, pu8End, 2, &s32Value);
    FUZZ_CHECK((pu8After != nullptr) == bRef);
    FUZZ_CHECK(!bRef || (s32Value == s32Ref && pu8After == stSpan.pu8Text + s32Used));
}

// Equal, or both no number.
template <typename Real> static bool ScanSameReal(Real left, Real right) {
    return std::isnan(left) ? std::isnan(right) : left == right && std::signbit(left) == std::signbit(right);
}

static void ScanReal(TextSpan stSpan, const char *pszText) {
    const uint8_t *pu8End = SvrSpanEnd(stSpan);
    float fValue = 0;
    double dValue = 0;
    char *pszAfter = nullptr;
    const float fRef = strtof(pszText, &pszAfter);
    const uint8_t *pu8After = SvrScanFloat(stSpan.pu8Text, pu8End, &fValue);
    FUZZ_CHECK((pu8After != nullptr) == (pszAfter != pszText));
    FUZZ_CHECK(pu8After == nullptr || pu8After - stSpan.pu8Text == pszAfter - pszText);
    FUZZ_CHECK(pu8After == nullptr || ScanSameReal(fValue, fRef));
    const double dRef = strtod(pszText, &pszAfter);
    pu8After = SvrScanDouble(stSpan.pu8Text, pu8End, &dValue);
    FUZZ_CHECK((pu8After != nullptr) == (pszAfter != pszText));
    FUZZ_CHECK(pu8After == nullptr || pu8After - stSpan.pu8Text == pszAfter - pszText);
    FUZZ_CHECK(pu8After == nullptr || ScanSameReal(dValue, dRef));
}

// The tag is what stands between the last two dots, when the extension stands behind the last one.
static bool ScanLangOf(std::string strName, const char *pszExt, size_t uSize, std::string *pstrTag) {
    strName = strName.substr(0, strName.find("::offset="));
    const size_t uLast = strName.rfind('.');
    const size_t uFirst = uLast != std::string::npos && uLast > 0 ? strName.rfind('.', uLast - 1) : std::string::npos;
    if (strName.size() > 4096 || uFirst == std::string::npos || strcasecmp(strName.c_str() + uLast + 1, pszExt) != 0) {
        return false;
    }
    *pstrTag = strName.substr(uFirst + 1, std::min<size_t>(uLast - uFirst - 1, 31));
    return pstrTag->size() + 1 < uSize;
}

static void ScanLang(TextSpan, const char *pszText) {
    for (const uint32_t u32Size : {256u, 64u, 33u, 32u, 8u, 2u, 1u}) {
        std::string strTag;
        const bool bRef = ScanLangOf(pszText, "srt", u32Size, &strTag);
        std::vector<char> vecOut(u32Size, '\0');
        FUZZ_CHECK(SvrSubGetLang(pszText, vecOut.data(), u32Size, "srt") == (bRef ? 0 : -1));
        strTag.resize(u32Size);
        FUZZ_CHECK(std::string(vecOut.begin(), vecOut.end()) == (bRef ? strTag : std::string(u32Size, '\0')));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pu8Data, size_t uSize) {
    static void (*const s_apfnScans[])(TextSpan, const char *) = {
        [](TextSpan st, const char *psz) { FUZZ_CHECK(TimeLineAgrees(st, psz)); },
        [](TextSpan st, const char *psz) { FUZZ_CHECK(HundredthsAgree(st, psz)); },
        [](TextSpan st, const char *psz) { FUZZ_CHECK(MicrodvdAgrees(st, psz)); },
        [](TextSpan st, const char *psz) { FUZZ_CHECK(SubviewerAgrees(st, psz)); },
        [](TextSpan st, const char *psz) { FUZZ_CHECK(DvdsubAgrees(st, psz)); },
        [](TextSpan st, const char *psz) { FUZZ_CHECK(MpsubAgrees(st, psz)); },
        ScanLrc,
        ScanSmi,
        ScanWhole,
        ScanReal,
        ScanLang,
    };
    // Of millions of runs no message is kept.
    g_host.bQuiet = true;
    FuzzInput stInput = {pu8Data, pu8Data + uSize};
    const size_t uScan = FuzzTake8(&stInput) % std::size(s_apfnScans);
    // A block of its own, so that a look beyond the end is seen.
    const size_t uLen = FuzzLeft(&stInput);
    const std::unique_ptr<uint8_t[]> pu8Text(new uint8_t[uLen]);
    std::copy(stInput.pu8Cur, stInput.pu8End, pu8Text.get());
    const std::string strText(reinterpret_cast<const char *>(pu8Text.get()), uLen);
    s_apfnScans[uScan]({pu8Text.get(), static_cast<int32_t>(uLen)}, strText.c_str());
    return 0;
}
