// The plug-in's messages pass through the tool, which counts them on their way to the player's library.
#include "tools/pellsub/message_watch.h"

#include "platform/player_utils/player_utils.h"

#include <atomic>

using MessageFn = decltype(&PlayerDbgPrintf);

static std::atomic<MessageFn> g_next{nullptr};
static std::atomic<uint64_t> g_count{0};

// Stands before the function of the same name in libpell_player_utils.so: a program's own comes first.
void PlayerDbgPrintf(int32_t s32Level, const char *pszFunction, int32_t s32Line, const char *pszMessage,
                     int32_t s32Result) {
    g_count.fetch_add(1, std::memory_order_relaxed);
    if (const MessageFn next = g_next.load(std::memory_order_relaxed)) {
        next(s32Level, pszFunction, s32Line, pszMessage, s32Result);
    }
}

void PassMessagesTo(void *function) {
    g_next.store(reinterpret_cast<MessageFn>(function), std::memory_order_relaxed);
}

uint64_t MessageCount() {
    return g_count.load(std::memory_order_relaxed);
}
