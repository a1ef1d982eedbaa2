// The plug-in's slots as the tool uses them: load, find, open, index, describe, read.
#include "tools/pellsub/plugin_host.h"

#include "tools/pellsub/charset_watch.h"
#include "tools/pellsub/interrupt.h"
#include "tools/pellsub/message_watch.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>

// A demuxer that never stops failing must not keep the tool busy for ever. No file has as many bad cues in a row.
static constexpr unsigned kMaxFailuresInRow = 1000000;

const FormatName &NameOfFormat(uint32_t format) {
    static const FormatName unknown = {"unknown", "unknown format", true, false, 0};
    static const struct {
        uint32_t format;
        FormatName name;
    } rows[] = {
        {SUB_STREAM_FORMAT_ASS, {"ass", "SubStation Alpha", true, false, 0}},
        {SUB_STREAM_FORMAT_LRC, {"lrc", "lyrics", true, true, 0}},
        {SUB_STREAM_FORMAT_SRT, {"srt", "SubRip", true, false, 0}},
        {SUB_STREAM_FORMAT_SMI, {"smi", "SAMI", true, false, 0}},
        {SUB_STREAM_FORMAT_SUB, {"sub", "text SUB", true, true, 0}},
        {SUB_STREAM_FORMAT_IDX, {"idx", "VobSub", false, false, 256}},
    };
    const auto row = std::find_if(std::begin(rows), std::end(rows), [=](auto &r) { return r.format == format; });
    return row != std::end(rows) ? row->name : unknown;
}

// The tool's own run path is not relied on: a sanitizer that stands between the tool and the loader makes the loader
// use another's. First as installed, what is the tool's alone in a directory of its own; then as built.
std::string LibraryBesideTool(const std::string &name) {
    std::error_code error;
    const auto tool = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    for (const char *directory : {PELLSUB_LIBRARY_DIR "/pellsub", PELLSUB_LIBRARY_DIR, "../lib"}) {
        const auto beside = (tool / directory / name).lexically_normal();
        if (std::filesystem::exists(beside, error)) {
            return beside.string();
        }
    }
    return name;
}

FormatEntry *LoadPlugin(std::string &why) {
    const char *chosen = std::getenv("PELL_FORMAT_LIB");
    const std::string path = chosen != nullptr ? chosen : LibraryBesideTool("libpell_format.so");
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void *entry = library != nullptr ? dlsym(library, "g_formatEntry") : nullptr;
    if (entry == nullptr) {
        const char *error = dlerror();
        why = error != nullptr ? error : "no g_formatEntry in it";
    } else {
        PassMessagesTo(dlsym(library, "PlayerDbgPrintf"));
    }
    return static_cast<FormatEntry *>(entry);
}

bool PluginTakes(FormatEntry *entry, const std::string &url) {
    return entry->fmt_find(url.c_str(), PellProtocolOf(entry)) == 0;
}

// The entry's own list names extensions that belong to other plug-ins and leaves out some that are taken.
std::string TakenExtensions(FormatEntry *entry) {
    std::string taken;
    for (const char *extension : kSubtitleExtensions) {
        if (PluginTakes(entry, std::string("./x.") + extension)) {
            taken += (taken.empty() ? "" : ", ") + std::string(extension);
        }
    }
    return taken;
}

bool OpenInPlugin(FormatEntry *entry, const std::string &url, PluginFile &file) {
    file.entry = entry;
    file.protocol = file.protocol != nullptr ? file.protocol : PellProtocolOf(entry);
    return entry->fmt_open(url.c_str(), file.protocol, &file.handle) == 0;
}

static bool SetEncodings(PluginFile &file, const EncodingChoice &choice) {
    TheCharsetNote() = CharsetNote{.forced = choice.source};
    if (!choice.converter) {
        return true;
    }
    int32_t destination = PELL_CODE_UTF8;
    return file.entry->fmt_invoke(file.handle, INVOKE_SET_CHARSET_OPS, WatchedCharsetOps()) == 0 &&
           file.entry->fmt_invoke(file.handle, INVOKE_SET_DST_CODETYPE, &destination) == 0;
}

// A forced encoding is what the converter answers during find-stream, so that already the first look at the file uses
// it. Files too large to be identified never ask; they are told afterwards, which changes nothing for the others.
bool IndexInPlugin(PluginFile &file, const EncodingChoice &choice, int &signal) {
    if (!SetEncodings(file, choice)) {
        return false;
    }
    BeginStoppable(file.entry, file.handle);
    bool indexed = file.entry->fmt_find_stream(file.handle, 0) == 0;
    int32_t source = choice.source;
    if (indexed && source != 0) {
        indexed = file.entry->fmt_invoke(file.handle, INVOKE_SET_SRC_CODETYPE, &source) == 0;
    }
    signal = EndStoppable();
    TheCharsetNote().incomplete = 0; // lines tried while indexing; from here on cues count
    return indexed && signal == 0;
}

// A text field that fills its array has no terminator.
template <size_t N> static std::string FieldText(const char (&field)[N]) {
    return std::string(field, strnlen(field, N));
}

static StreamFacts DescribeStream(const SubStreamInfo &info) {
    StreamFacts facts;
    facts.index = info.s32StreamIndex;
    facts.number = info.s32StreamIndex - SUB_STREAM_INDEX_BASE;
    facts.language = FieldText(info.aszLang);
    facts.title = FieldText(info.aszTitle);
    facts.width = info.u16Width;
    facts.height = info.u16Height;
    if (NameOfFormat(info.u32Format).textual && info.pu8ExtraData != nullptr) {
        facts.header.assign(reinterpret_cast<const char *>(info.pu8ExtraData), info.u32ExtraDataSize);
    } else if (info.pu8ExtraData != nullptr) {
        facts.palette.resize(info.u32ExtraDataSize / sizeof(uint32_t));
        std::memcpy(facts.palette.data(), info.pu8ExtraData, facts.palette.size() * sizeof(uint32_t));
    }
    return facts;
}

static void NoteSharedLanguages(std::vector<StreamFacts> &streams) {
    for (StreamFacts &stream : streams) {
        stream.sharesLanguage = std::count_if(streams.begin(), streams.end(), [&](const StreamFacts &other) {
                                    return EqualNoCase(stream.language, other.language);
                                }) > 1;
    }
}

std::vector<StreamFacts> DescribeStreams(PluginFile &file) {
    std::vector<StreamFacts> streams;
    FileInfo *info = nullptr;
    if (file.entry->fmt_get_info(file.handle, &info) != 0 || info == nullptr || info->pastProgramInfo == nullptr) {
        return streams;
    }
    const ProgramInfo &program = info->pastProgramInfo[0];
    for (uint32_t i = 0; program.pastSubStream != nullptr && i < program.u32SubStreamNum; i++) {
        streams.push_back(DescribeStream(program.pastSubStream[i]));
        file.format = program.pastSubStream[i].u32Format;
        file.codeType = program.pastSubStream[i].u32CodeType;
    }
    file.streams = streams.size();
    NoteSharedLanguages(streams);
    return streams;
}

// A file's only stream is selected, and at its first cue, as soon as it is indexed.
bool SelectStream(PluginFile &file, const StreamFacts &stream) {
    return file.streams == 1 || file.entry->fmt_seek_pts(file.handle, stream.index, 0) == 0;
}

// The bytes as delivered; where a terminator may be counted it ends at the first one.
static std::string FrameText(const FmtFrame &frame, bool endsAtNul) {
    if (frame.pu8Data == nullptr) {
        return {};
    }
    const char *data = reinterpret_cast<const char *>(frame.pu8Data);
    return std::string(data, endsAtNul ? strnlen(data, frame.u32DataLen) : frame.u32DataLen);
}

// A plug-in may tell any start.
static int64_t EndOf(int64_t start, uint32_t duration) {
    int64_t end = 0;
    return __builtin_add_overflow(start, static_cast<int64_t>(duration), &end) ? INT64_MAX : end;
}

// Lyrics and VobSub tell none; SAMI tells half of one elsewhere.
static int64_t PositionOf(const FmtFrame &frame, const FormatName &format) {
    const std::string_view name = format.name;
    return name == "smi" ? frame.u32FrameRate : (name == "lrc" || name == "idx" ? -1 : frame.s64Pos);
}

static Cue CueOf(const FmtFrame &frame, const FormatName &format) {
    Cue cue;
    cue.stream = frame.s32StreamIndex - SUB_STREAM_INDEX_BASE;
    cue.startMs = frame.s64Pts;
    cue.bytes = frame.u32DataLen;
    cue.position = PositionOf(frame, format);
    if (frame.u32Duration != SUB_DURATION_UNKNOWN) {
        cue.endMs = EndOf(frame.s64Pts, frame.u32Duration);
    }
    if (format.textual) {
        cue.raw = FrameText(frame, format.endsAtNul);
    } else {
        cue.picture = FrameText(frame, false);
    }
    return cue;
}

static void CountCue(StreamFacts &stream, const Cue &cue) {
    const int64_t last = cue.endMs.value_or(cue.startMs);
    stream.cues++;
    stream.firstMs = std::min(stream.firstMs.value_or(cue.startMs), cue.startMs);
    stream.lastMs = std::max(stream.lastMs.value_or(last), last);
}

// Reads up to a cue or the end, and counts the cues that cannot be read. Failures without a message are not known to be
// such before something comes after them.
static bool ReadFrame(PluginFile &file, unsigned silentAtEnd, uint64_t &failedReads, FmtFrame &frame) {
    const unsigned silentLimit = silentAtEnd != 0 ? silentAtEnd : kMaxFailuresInRow;
    unsigned silent = 0;
    for (unsigned i = 0; i < kMaxFailuresInRow && silent < silentLimit; i++) {
        const uint64_t messages = MessageCount();
        frame.u32FrameRate = file.frameRate;
        const int32_t result = file.entry->fmt_read(file.handle, &frame);
        silent++;
        if (result == 0 || result == -2) {
            failedReads += silent - 1;
            return result == 0;
        }
        if (MessageCount() != messages) {
            failedReads += silent;
            silent = 0;
        }
    }
    failedReads += silentAtEnd != 0 ? 0 : silent;
    return false;
}

bool NextCue(PluginFile &file, StreamFacts &stream, Cue &cue) {
    const FormatName &format = NameOfFormat(file.format);
    FmtFrame frame = {};
    if (!ReadFrame(file, format.silentAtEnd, stream.failedReads, frame)) {
        return false;
    }
    cue = CueOf(frame, format);
    CountCue(stream, cue);
    file.entry->fmt_free(file.handle, &frame);
    return true;
}

void CloseInPlugin(PluginFile &file) {
    if (file.handle != nullptr) {
        file.entry->fmt_close(file.handle);
        file.handle = nullptr;
    }
}
