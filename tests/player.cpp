#include "tests/player.h"

#include <cstring>

void *PlayerOpen(const std::string &strUrl, Protocol *pstProtocol) {
    void *hFmt = nullptr;
    return g_formatEntry.fmt_open(strUrl.c_str(), pstProtocol, &hFmt) == 0 ? hFmt : nullptr;
}

void *PlayerOpenBytes(const std::string &strName, const std::string &strBytes, CharsetOps *pstOps) {
    void *hFmt = PlayerOpen("/" + strName, MemoryProtocol(strBytes));
    if (hFmt == nullptr) {
        return nullptr;
    }
    if (pstOps != nullptr && g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, pstOps) != 0) {
        g_formatEntry.fmt_close(hFmt);
        return nullptr;
    }
    if (g_formatEntry.fmt_find_stream(hFmt, 0) != 0) {
        g_formatEntry.fmt_close(hFmt);
        return nullptr;
    }
    return hFmt;
}

std::vector<PlayerCue> PlayerReadAll(void *hFmt) {
    std::vector<PlayerCue> vecCues;
    FmtFrame stFrame = {};
    // A handle that lost its index answers -1 for good.
    for (int s32Failures = 0; s32Failures < 5000;) {
        const int32_t s32Result = g_formatEntry.fmt_read(hFmt, &stFrame);
        if (s32Result == -2) {
            break;
        }
        s32Failures = s32Result == 0 ? 0 : s32Failures + 1;
        PlayerCue stCue = {s32Result, stFrame.s64Pts, stFrame.u32Duration, "", stFrame.s64Pos};
        if (s32Result == 0) {
            stCue.strText.assign(reinterpret_cast<const char *>(stFrame.pu8Data), stFrame.u32DataLen);
        }
        vecCues.push_back(stCue);
        g_formatEntry.fmt_free(hFmt, &stFrame);
    }
    return vecCues;
}

std::vector<PlayerCue> PlayerCuesOf(const std::string &strName, const std::string &strBytes, CharsetOps *pstOps) {
    void *hFmt = PlayerOpenBytes(strName, strBytes, pstOps);
    if (hFmt == nullptr) {
        return {};
    }
    std::vector<PlayerCue> vecCues = PlayerReadAll(hFmt);
    g_formatEntry.fmt_close(hFmt);
    return vecCues;
}

std::string PlayerTold(const std::vector<PlayerCue> &vecCues) {
    std::string str;
    for (const PlayerCue &stCue : vecCues) {
        const std::string strTimes = std::to_string(stCue.s64Start) + "+" + std::to_string(stCue.u32Duration);
        str += (stCue.s32Result != 0 ? "!" : strTimes + " " + stCue.strText) + "|";
    }
    return str;
}

std::string PlayerToldTerminated(void *hFmt) {
    std::vector<PlayerCue> vecCues = PlayerReadAll(hFmt);
    for (PlayerCue &stCue : vecCues) {
        const size_t uZero = stCue.strText.find('\0');
        if (stCue.s32Result == 0) {
            stCue.strText = uZero + 1 == stCue.strText.size() ? stCue.strText.substr(0, uZero) : "length?";
        }
    }
    return PlayerTold(vecCues);
}

SubStreamInfo *PlayerStream(void *hFmt, uint32_t u32Stream) {
    FileInfo *pstInfo = nullptr;
    if (g_formatEntry.fmt_get_info(hFmt, &pstInfo) != 0 || pstInfo->pastProgramInfo == nullptr ||
        u32Stream >= pstInfo->pastProgramInfo[0].u32SubStreamNum) {
        return nullptr;
    }
    return &pstInfo->pastProgramInfo[0].pastSubStream[u32Stream];
}
