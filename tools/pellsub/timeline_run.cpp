// Cues to a page that shows them as bars on an axis of time. The page is a file of its own, timeline_page.html; what is
// written here is the data that its script reads.
#include "tools/pellsub/timeline_run.h"

#include "tools/pellsub/check_findings.h"
#include "tools/pellsub/cue_text.h"
#include "tools/pellsub/render_run.h"
#include "tools/pellsub/safe_file.h"
#include "tools/pellsub/timeline_page.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

// A film has some megabytes of pictures. Browsers cope with more, but not with any amount.
static constexpr size_t kMaxPictureBytes = 64 << 20;

std::optional<std::string> BeginTimeline(TimelineRun &run) {
    const auto problem = run.output != "-" ? FileInTheWay(run.output, run.overwrite) : std::nullopt;
    return problem ? std::optional(problem->message) : std::nullopt;
}

// --- text ----------------------------------------------------------------------------------------------------------

// JSON that may stand in a page: what begins markup or ends a line of script occurs in its strings only, and can be
// written there in another way. Bytes that are no UTF-8 become U+FFFD.
static std::string PageJson(const Json &json) {
    static constexpr std::pair<std::string_view, std::string_view> kEscapes[] = {
        {"<", "\\u003c"}, {">", "\\u003e"}, {"&", "\\u0026"}, {"\xE2\x80\xA8", "\\u2028"}, {"\xE2\x80\xA9", "\\u2029"}};
    std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    for (const auto &[from, to] : kEscapes) {
        for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
    }
    return text;
}

static std::string Base64(std::string_view bytes) {
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (; !bytes.empty(); bytes.remove_prefix(std::min<size_t>(bytes.size(), 3))) {
        uint32_t group = 0;
        for (size_t i = 0; i < 3; i++) {
            group = group << 8 | (i < bytes.size() ? static_cast<uint8_t>(bytes[i]) : 0u);
        }
        for (size_t i = 0; i < 4; i++) {
            text += i <= bytes.size() ? kDigits[group >> (18 - 6 * i) & 63] : '=';
        }
    }
    return text;
}

// --- pictures ------------------------------------------------------------------------------------------------------

// The part that is drawn on.
static IndexedPicture Cropped(const IndexedPicture &picture) {
    const Area &area = picture.drawn;
    IndexedPicture cropped{.width = area.width, .height = area.height, .colours = picture.colours};
    for (int y = area.y; y < area.y + area.height; y++) {
        const auto row = picture.pixels.begin() + int64_t{y} * picture.width + area.x;
        cropped.pixels.insert(cropped.pixels.end(), row, row + area.width);
    }
    return cropped;
}

static void StartStream(TimelineRun &run, const FileFacts &facts, int number) {
    run.stream.number = number;
    for (const StreamFacts &stream : facts.streams) {
        if (stream.number == number) {
            run.stream.style = StyleOf(stream);
        }
    }
}

// The picture in base 64. Empty when there is none.
static std::string PictureText(TimelineRun &run, const Cue &cue) {
    if (run.module == nullptr) {
        return {};
    }
    IndexedPicture picture;
    if (!run.module->draw(run.stream.style, cue.picture, picture)) {
        run.stream.notDrawn++;
        return {};
    }
    std::string text = Base64(run.module->indexedPng(Cropped(picture)));
    if (text.size() > kMaxPictureBytes - run.pictureBytes) {
        run.stream.leftOut++;
        return {};
    }
    run.pictureBytes += text.size();
    return text;
}

static void LoadModuleFor(TimelineRun &run, const FileFacts &facts) {
    if (!facts.textual && !facts.streams.empty() && !run.moduleWanted) {
        run.moduleWanted = true;
        run.module = LoadPictureModule();
    }
}

static void WarnOfPictures(const TimelineRun &run, FileFacts &facts) {
    if (run.module == nullptr) {
        facts.warnings.push_back({"no_pictures_drawn", "the page has its times only: this build cannot draw pictures; "
                                                       "it was made without libavcodec and libpng"});
    }
    if (run.stream.notDrawn > 0) {
        facts.warnings.push_back({"not_drawn", CountText(run.stream.notDrawn, "picture") +
                                                   " could not be drawn, as broken, empty or outside the "
                                                   "video; the page has the times"});
    }
    if (run.stream.leftOut > 0) {
        facts.warnings.push_back({"pictures_left_out", CountText(run.stream.leftOut, "picture") +
                                                           " left out, so that the page can be opened; "
                                                           "--stream takes fewer"});
    }
}

// --- files and cues ------------------------------------------------------------------------------------------------

static void TimelineBeginFile(Output &out, const FileFacts &facts) {
    TimelineRun &run = *out.timeline;
    run.cues.assign(facts.streams.size(), "");
    run.stream = {};
    LoadModuleFor(run, facts);
}

// What clears the screen, or only draws. An empty cue of another format is one that somebody should see.
static bool IsNotToRead(const FileFacts &facts, const Cue &cue) {
    const bool clears = IsFormat(facts, "smi") || IsFormat(facts, "lrc");
    return cue.raw && IsBlank(cue.text) && (clears || !IsBlank(*cue.raw));
}

// A cue in the page: [start, end, text, picture], the last for pictures only.
static void TimelineCue(Output &out, const FileFacts &facts, const Cue &cue) {
    TimelineRun &run = *out.timeline;
    if (IsNotToRead(facts, cue)) {
        return;
    }
    if (cue.stream != run.stream.number) {
        StartStream(run, facts, cue.stream);
    }
    const auto end = ToldEnd(facts, cue);
    Json json = {cue.startMs, end ? Json(*end) : Json(), cue.text};
    if (!cue.raw) {
        json.push_back(PictureText(run, cue));
    }
    for (size_t i = 0; i < facts.streams.size(); i++) {
        if (facts.streams[i].number == cue.stream) {
            run.cues[i] += (run.cues[i].empty() ? "" : ",\n") + PageJson(json);
            run.cueCount++;
        }
    }
}

static void TimelineConclude(Output &out, FileFacts &facts) {
    if (facts.error) {
        return;
    }
    WarnOfAssumedRate(facts);
    if (!facts.textual) {
        WarnOfPictures(*out.timeline, facts);
    }
}

static Json NotesJson(const FileFacts &facts) {
    Json notes = Json::array();
    if (facts.error) {
        notes.push_back(facts.error->message);
    }
    std::transform(facts.warnings.begin(), facts.warnings.end(), std::back_inserter(notes),
                   [](const Problem &warning) { return warning.message; });
    return notes;
}

// A head's members, then a list that is text already.
static std::string WithList(const Json &head, const char *name, const std::string &list) {
    std::string text = PageJson(head);
    text.pop_back();
    return fmt::format("{},\"{}\":[{}]}}", text, name, list);
}

static void TimelineEndFile(Output &out, const FileFacts &facts) {
    TimelineRun &run = *out.timeline;
    run.interrupted = run.interrupted || facts.signal != 0;
    std::string streams;
    for (size_t i = 0; i < run.cues.size(); i++) {
        const StreamFacts &stream = facts.streams[i];
        const Json head{{"number", stream.number}, {"language", stream.language}, {"title", stream.title}};
        streams += (streams.empty() ? "\n" : ",\n") + WithList(head, "cues", "\n" + run.cues[i]);
    }
    const Json head{{"name", facts.name},
                    {"format", facts.formatTitle == nullptr ? "" : facts.formatTitle},
                    {"encoding", facts.encoding},
                    {"failed", facts.error.has_value()},
                    {"notes", NotesJson(facts)}};
    run.files += (run.files.empty() ? "" : ",\n") + WithList(head, "streams", streams);
    run.cues.clear();
}

// --- the page ------------------------------------------------------------------------------------------------------

static std::string PageWith(const std::string &files) {
    static constexpr std::string_view kPlace = "@TIMELINE_DATA@";
    const size_t at = kTimelinePage.find(kPlace);
    return fmt::format("{}{{\"files\":[{}]}}{}", kTimelinePage.substr(0, at), files,
                       kTimelinePage.substr(at + kPlace.size()));
}

static void TimelineEnd(Output &out) {
    TimelineRun &run = *out.timeline;
    if (run.interrupted) {
        return;
    }
    if (run.cueCount == 0) {
        Complain("", "there is no cue to show, and no page was written");
        out.failed = true;
        return;
    }
    if (run.output == "-") {
        Put(out, PageWith(run.files));
        return;
    }
    if (const auto problem = WriteFileSafely(run.output, PageWith(run.files), run.overwrite)) {
        Complain("", problem->message);
        out.failed = true;
    }
}

const ReportWriter kTimeline = {.beginFile = TimelineBeginFile,
                                .cue = TimelineCue,
                                .conclude = TimelineConclude,
                                .endFile = TimelineEndFile,
                                .end = TimelineEnd};
