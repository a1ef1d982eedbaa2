#include "bench/peer.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

struct Peer {
    AVFormatContext *pstContext;
    AVPacket *pstPacket;
};

static std::string PeerName() {
    const unsigned uVersion = avformat_version();
    return "libavformat " + std::to_string(AV_VERSION_MAJOR(uVersion)) + "." +
           std::to_string(AV_VERSION_MINOR(uVersion)) + "." + std::to_string(AV_VERSION_MICRO(uVersion));
}

// The format is named, so that the peer need not find it out.
static void *PeerOpen(const char *pszPath, const char *pszFormat) {
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext *pstContext = nullptr;
    if (avformat_open_input(&pstContext, pszPath, av_find_input_format(pszFormat), nullptr) < 0) {
        return nullptr;
    }
    return new Peer{pstContext, av_packet_alloc()};
}

static void PeerClose(void *hPeer) {
    Peer *pstPeer = static_cast<Peer *>(hPeer);
    av_packet_free(&pstPeer->pstPacket);
    avformat_close_input(&pstPeer->pstContext);
    delete pstPeer;
}

static bool PeerRead(void *hPeer) {
    const Peer *pstPeer = static_cast<Peer *>(hPeer);
    if (av_read_frame(pstPeer->pstContext, pstPeer->pstPacket) < 0) {
        return false;
    }
    av_packet_unref(pstPeer->pstPacket);
    return true;
}

static bool PeerSeek(void *hPeer, int64_t s64Ms) {
    const int64_t s64Time = s64Ms * (AV_TIME_BASE / 1000);
    return avformat_seek_file(static_cast<Peer *>(hPeer)->pstContext, -1, INT64_MIN, s64Time, INT64_MAX, 0) >= 0;
}

static const PeerOps s_stPeer = {PeerName(), PeerOpen, PeerClose, PeerRead, PeerSeek};
const PeerOps *const g_pstPeer = &s_stPeer;
