// The plug-in's slots as the tool uses them: load, find, open, index, describe, read.
#pragma once

#include "format/pell_format.h"
#include "tools/pellsub/report.h"

#include <string>
#include <vector>

// Where a library of ours is: beside the tool, or else where the system keeps libraries.
std::string LibraryBesideTool(const std::string &name);

// Null, with the reason, when the library cannot be had.
FormatEntry *LoadPlugin(std::string &why);

// The ones that a subtitle file may have, as far as the tool goes; the plug-in need not take all.
inline constexpr const char *kSubtitleExtensions[] = {"srt", "ass", "ssa", "smi", "sami", "lrc", "sub", "idx"};

bool PluginTakes(FormatEntry *entry, const std::string &url);

// "srt, ass, ssa": the extensions that some demuxer takes.
std::string TakenExtensions(FormatEntry *entry);

// What the plug-in is told about encodings between open and find-stream.
struct EncodingChoice {
    bool converter = true; // false: text is delivered as it stands in the file
    int32_t source = 0;    // the file's code type; 0: identify it
};

struct PluginFile {
    FormatEntry *entry = nullptr;
    void *handle = nullptr; // null: not open
    uint32_t format = 0;    // enum SubStreamFormat
    uint32_t codeType = 0;
    size_t streams = 0;
    uint32_t frameRate = 0;       // of the video, as reads pass it; 0: not known
    Protocol *protocol = nullptr; // that it is read through; null: the plug-in's own
};

// The plug-in reads the file itself, or what the protocol in the record serves.
bool OpenInPlugin(FormatEntry *entry, const std::string &url, PluginFile &file);

// Builds the index. The signal that interrupted it, if one did, is stored; part of the cues may be there even then.
bool IndexInPlugin(PluginFile &file, const EncodingChoice &choice, int &signal);

std::vector<StreamFacts> DescribeStreams(PluginFile &file);

// Goes to the stream's first cue. False when it has none.
bool SelectStream(PluginFile &file, const StreamFacts &stream);

// Takes the next cue of the selected stream and counts it, and the ones before it that could not be read.
bool NextCue(PluginFile &file, StreamFacts &stream, Cue &cue);

void CloseInPlugin(PluginFile &file);

struct FormatName {
    const char *name;  // for programs
    const char *title; // for people
    bool textual;      // cues are text, in an encoding
    bool endsAtNul;    // the delivered length may count a terminator
    // The end of the stream is told by the same result as a cue that cannot be read, only without a message: so many of
    // them in a row are taken for the end. 0: there is a result of its own for the end.
    unsigned silentAtEnd;
};

const FormatName &NameOfFormat(uint32_t format);
