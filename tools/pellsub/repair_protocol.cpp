// Bytes in memory served to the plug-in as if they were the file.
#include "tools/pellsub/repair_protocol.h"

#include <algorithm>
#include <cstring>

struct ServedFile {
    const std::string *bytes;
    int64_t position;
};

// An open call tells nothing but the URL.
static thread_local const std::string *g_served = nullptr;

static int32_t ServedFind(const char *) {
    return 0;
}

static int32_t ServedOpen(const char *, int32_t, void **phUrl) {
    *phUrl = new ServedFile{g_served, 0};
    return 0;
}

static int32_t ServedRead(void *hUrl, uint8_t *pu8Buf, int32_t s32Size) {
    ServedFile &file = *static_cast<ServedFile *>(hUrl);
    const int64_t left = static_cast<int64_t>(file.bytes->size()) - file.position;
    const int32_t count = static_cast<int32_t>(std::min<int64_t>(left, s32Size));
    if (count <= 0) {
        return -1;
    }
    std::memcpy(pu8Buf, file.bytes->data() + file.position, static_cast<size_t>(count));
    file.position += count;
    return count;
}

static int64_t ServedSeek(void *hUrl, int64_t s64Offset, int32_t s32Whence) {
    ServedFile &file = *static_cast<ServedFile *>(hUrl);
    const int64_t size = static_cast<int64_t>(file.bytes->size());
    const int64_t base = s32Whence == SEEK_SET ? 0 : (s32Whence == SEEK_CUR ? file.position : size);
    int64_t target = 0;
    if (__builtin_add_overflow(base, s64Offset, &target) || target < 0 || target > size) {
        return -1;
    }
    file.position = target;
    return target;
}

static int32_t ServedClose(void *hUrl) {
    delete static_cast<ServedFile *>(hUrl);
    return 0;
}

static int32_t ServedReadSeek(void *, int32_t, int64_t) {
    return -1;
}

Protocol *ProtocolServing(const std::string &bytes) {
    static Protocol protocol = {ServedFind, ServedOpen, ServedRead, ServedSeek, ServedClose, ServedReadSeek};
    g_served = &bytes;
    return &protocol;
}
