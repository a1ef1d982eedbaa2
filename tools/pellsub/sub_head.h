// What the first lines of a .sub file tell: its form, its frame rate, and whether it is text at all.
#pragma once

#include "format/pell_format.h"

#include <string>
#include <string_view>

struct SubForm {
    const char *name;  // for programs
    const char *title; // for people
    const char *example;
    bool inFrames; // times are frame numbers
};

struct SubHead {
    const SubForm *form = nullptr; // null: none is recognised
    double rate = 0;               // MicroDVD: the one in its first line; 0: it has none
};

// The form of a file that begins with these bytes, as the plug-in recognises it.
SubHead SubHeadOf(std::string_view bytes);

// The forms with an example of each, for a message.
std::string SubFormList();

// Pictures in packets: the data file that goes with a VobSub index.
bool BeginsWithPack(std::string_view bytes);

// The first bytes of what the URL names, read through the protocol that the plug-in reads it through.
std::string HeadOf(const Protocol *protocol, const std::string &url, size_t size);
