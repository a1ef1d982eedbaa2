// The formatted patterns that the hand-written scanners stand for, and whether a scanner and its pattern make the same
// of a text. The span needs no terminator; the string is the same text with one.
#pragma once

#include "platform/bounded/bounded.h"
#include "subtitle/common/clock_scan.h"
#include "subtitle/srt/srt_demuxer.h"
#include "subtitle/sub/sub_demuxer.h"

#include <cstdio>
#include <cstring>
#include <string>

// The second pattern is narrower than the first, and is asked all the same.
inline bool ReferenceTimeLine(const char *pszText, int64_t *ps64Start, int64_t *ps64End) {
    int a[8] = {};
    char aszStart[4] = {};
    char aszEnd[4] = {};
    const bool bFirst = sscanf(pszText, "%2d:%2d:%2d%1[,.:]%3d --> %2d:%2d:%2d%1[,.:]%3d", // NOLINT(cert-err34-c)
                               &a[0], &a[1], &a[2], aszStart, &a[3], &a[4], &a[5], &a[6], aszEnd, &a[7]) == 10;
    if (!bFirst && sscanf(pszText, "%2d:%2d:%2d%*1[,.]%3d --> %2d:%2d:%2d%*1[,.]%3d", // NOLINT(cert-err34-c)
                          &a[0], &a[1], &a[2], &a[3], &a[4], &a[5], &a[6], &a[7]) < 8) {
        return false;
    }
    *ps64Start = a[0] * 3600000LL + a[1] * 60000LL + a[2] * 1000LL + a[3];
    *ps64End = a[4] * 3600000LL + a[5] * 60000LL + a[6] * 1000LL + a[7];
    return true;
}

inline bool TimeLineAgrees(TextSpan stSpan, const char *pszText) {
    int64_t s64Start = 0, s64End = 0, s64RefStart = 0, s64RefEnd = 0;
    const bool bRef = ReferenceTimeLine(pszText, &s64RefStart, &s64RefEnd);
    return SrtScanTimeLine(stSpan, &s64Start, &s64End) == bRef &&
           (!bRef || (s64Start == s64RefStart && s64End == s64RefEnd));
}

// Times of ASS: any separator before the hundredths.
inline bool ReferenceHundredths(const char *pszText, int64_t *ps64Time) {
    int a[4] = {};
    if (sscanf(pszText, "%2d:%2d:%2d%*1c%2d", &a[0], &a[1], &a[2], &a[3]) != 4) { // NOLINT(cert-err34-c)
        return false;
    }
    *ps64Time = a[0] * 3600000LL + a[1] * 60000LL + a[2] * 1000LL + a[3] * 10LL;
    return true;
}

inline bool HundredthsAgree(TextSpan stSpan, const char *pszText) {
    static constexpr ClockForm s_stForm = {2, 10, nullptr};
    int64_t s64Time = 0, s64RefTime = 0;
    const bool bRef = ReferenceHundredths(pszText, &s64RefTime);
    return (SvrScanClock(stSpan.pu8Text, SvrSpanEnd(stSpan), &s_stForm, &s64Time) != nullptr) == bRef &&
           (!bRef || s64Time == s64RefTime);
}

inline bool MicrodvdAgrees(TextSpan stSpan, const char *pszText) {
    SubFrames stOurs = {-7, -7};
    long long as64[2] = {-7, -7};
    char aszText[SVR_SUB_STR_IN_MAX_LEN] = {};
    static const std::string s_strLine = "%" + std::to_string(SVR_SUB_STR_IN_MAX_LEN - 1) + "[^\r\n]";
    static const std::string s_strBoth = "{%lld}{%lld}" + s_strLine, s_strStart = "{%lld}{}" + s_strLine;
    const bool bRef = sscanf_s(pszText, s_strBoth.c_str(), &as64[0], &as64[1], aszText, sizeof(aszText)) == 3 ||
                      sscanf_s(pszText, s_strStart.c_str(), &as64[0], aszText, sizeof(aszText)) == 2;
    const uint8_t *pu8Text = SubScanMicrodvd(stSpan, &stOurs);
    if ((pu8Text != nullptr) != bRef || stOurs.s64Start != as64[0] || stOurs.s64End != as64[1]) {
        return false;
    }
    const size_t uLen = bRef ? static_cast<size_t>(SubTextLen(pu8Text, SvrSpanEnd(stSpan))) : 0;
    return !bRef || (uLen == strlen(aszText) && memcmp(pu8Text, aszText, uLen) == 0);
}

inline bool SubviewerAgrees(TextSpan stSpan, const char *pszText) {
    int32_t o[8] = {-7, -7, -7, -7, -7, -7, -7, -7};
    int r[8] = {-7, -7, -7, -7, -7, -7, -7, -7};
    int32_t s32Ref = sscanf_s(pszText, "%d:%d:%d.%d,%d:%d:%d.%d", r, r + 1, r + 2, r + 3, r + 4, r + 5, r + 6, r + 7);
    if (s32Ref != 8) {
        s32Ref = sscanf_s(pszText, "%d:%d:%d%*1[,.]%d --> %d:%d:%d%*1[,.]%d", r, r + 1, r + 2, r + 3, r + 4, r + 5,
                          r + 6, r + 7);
    }
    return SubScanSubviewer(stSpan, o) == s32Ref && memcmp(o, r, sizeof(r)) == 0;
}

inline bool DvdsubAgrees(TextSpan stSpan, const char *pszText) {
    int32_t o[4] = {-7, -7, -7, -7};
    int r[4] = {-7, -7, -7, -7};
    const bool bRef = sscanf_s(pszText, "{T %d:%d:%d:%d", r, r + 1, r + 2, r + 3) == 4;
    return SubScanDvdsub(stSpan, o) == bRef && memcmp(o, r, sizeof(r)) == 0;
}

inline bool MpsubAgrees(TextSpan stSpan, const char *pszText) {
    float o[2] = {-7, -7};
    float r[2] = {-7, -7};
    const bool bRef = sscanf_s(pszText, "%f %f", &r[0], &r[1]) == 2;
    return SubScanMpsub(stSpan, &o[0], &o[1]) == bRef && memcmp(o, r, sizeof(r)) == 0;
}
