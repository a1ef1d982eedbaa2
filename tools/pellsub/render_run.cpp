// The pictures of a file to PNG files in a directory: one for each unit and an overview for each stream.
#include "tools/pellsub/render_run.h"

#include "tools/pellsub/plugin_host.h"
#include "tools/pellsub/safe_file.h"
#include "tools/pellsub/time_text.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <dlfcn.h>
#include <fmt/format.h>

// Positions in a unit have 12 bits: a larger picture would only be larger.
static constexpr int kMaxSide = 4096;
// That of a DVD, for an index that names none or a wrong one.
static constexpr int kUsualWidth = 720;
static constexpr int kUsualHeight = 576;

// --- begin ---------------------------------------------------------------------------------------------------------

const PictureModule *LoadPictureModule() {
    void *library = dlopen(LibraryBesideTool("libpellsub_picture.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    return library != nullptr ? static_cast<const PictureModule *>(dlsym(library, "g_pictureModule")) : nullptr;
}

std::optional<std::string> BeginRender(RenderRun &run) {
    run.module = LoadPictureModule();
    if (run.module == nullptr) {
        return "pictures cannot be drawn: libpellsub_picture.so is not there; it is built where libavcodec and "
               "libpng are, and packaged as pellsub-pictures";
    }
    return MakeDirectory(run.directory);
}

// --- files ---------------------------------------------------------------------------------------------------------

// The same name is never given twice: "en_00-00-01.000.png" is followed by "en_00-00-01.000_2.png".
static std::string FileName(RenderRun &run, const std::string &what) {
    std::string name = fmt::format("{}_{}.png", run.stream.name, what);
    for (int i = 2; !run.names.insert(name).second; i++) {
        name = fmt::format("{}_{}_{}.png", run.stream.name, what, i);
    }
    return name;
}

// True when the file is there now, whole and new.
static bool SaveFile(RenderRun &run, const std::string &name, const std::string &bytes) {
    const std::string path = run.directory + "/" + name;
    const auto problem = bytes.empty() ? Problem{"not_written", path + " cannot be written: not enough memory"}
                                       : WriteFileSafely(path, bytes, run.overwrite);
    if (problem && problem->kind == std::string_view("file_exists")) {
        run.existing++;
    } else if (problem) {
        run.error = problem;
    }
    return !problem;
}

// --- streams -------------------------------------------------------------------------------------------------------

// No stream has another one's name.
static std::string NameOf(const StreamFacts &stream) {
    const std::string name = FileNamePart(stream.language);
    if (name.empty()) {
        return fmt::format("stream{}", stream.number);
    }
    return stream.sharesLanguage ? fmt::format("{}-{}", name, stream.number) : name;
}

static void Warn(RenderRun &run, const char *kind, const std::string &message) {
    run.warnings.push_back({kind, run.stream.title + ": " + message});
}

static bool IsSide(int side) {
    return side >= 1 && side <= kMaxSide;
}

PictureStyle StyleOf(const StreamFacts &stream) {
    const bool known = IsSide(stream.width) && IsSide(stream.height);
    return {.width = known ? stream.width : kUsualWidth,
            .height = known ? stream.height : kUsualHeight,
            .sizeKnown = known,
            .palette = stream.palette};
}

static void WarnOfSize(RenderRun &run) {
    const PictureStyle &style = run.stream.style;
    if (!style.sizeKnown) {
        Warn(run, "size_assumed",
             fmt::format("its index names no usable picture size; {}x{} is taken", style.width, style.height));
    }
}

static void StartStream(RenderRun &run, const FileFacts &facts, int number) {
    run.stream = {.number = number};
    for (const StreamFacts &stream : facts.streams) {
        if (stream.number == number) {
            const std::string language = stream.language.empty() ? "" : " (" + stream.language + ")";
            run.stream.title = fmt::format("stream {}{}", number, language);
            run.stream.name = NameOf(stream);
            run.stream.style = StyleOf(stream);
        }
    }
}

static void WarnOfNotDrawn(RenderRun &run) {
    if (run.stream.notDrawn > 0) {
        Warn(run, "not_drawn",
             fmt::format("{} could not be drawn, as broken, empty or outside the video; the first at {}",
                         CountText(run.stream.notDrawn, "picture"), TimeText(run.stream.firstNotDrawnMs)));
    }
}

static void FinishStream(const Output &out, RenderRun &run) {
    const RenderedStream &stream = run.stream;
    WarnOfNotDrawn(run);
    if (stream.sheet.thumbnails.empty() || run.error) {
        return;
    }
    WarnOfSize(run);
    const std::string name = FileName(run, "sheet");
    const bool saved = SaveFile(run, name, run.module->rgbPng(SheetPicture(stream.sheet)));
    const std::string thinned = stream.sheet.step == 1 ? "" : fmt::format(" (one of {})", stream.sheet.step);
    Put(out, fmt::format("{}: {} of {}x{} written{}\n", stream.title, CountText(stream.written, "picture"),
                         stream.style.width, stream.style.height, saved ? ", overview " + name + thinned : ""));
}

// --- units ---------------------------------------------------------------------------------------------------------

static void RenderUnit(RenderRun &run, const Cue &cue) {
    RenderedStream &stream = run.stream;
    IndexedPicture picture;
    if (!run.module->draw(stream.style, cue.picture, picture)) {
        stream.firstNotDrawnMs = stream.notDrawn++ == 0 ? cue.startMs : stream.firstNotDrawnMs;
        return;
    }
    stream.style.width = picture.width;
    stream.style.height = picture.height;
    std::string time = TimeText(cue.startMs);
    std::replace(time.begin(), time.end(), ':', '-');
    run.drawn++;
    stream.written += SaveFile(run, FileName(run, time), run.module->indexedPng(picture)) ? 1u : 0u;
    AddToSheet(stream.sheet, picture);
}

static void RenderCue(Output &out, const FileFacts &facts, const Cue &cue) {
    RenderRun &run = *out.render;
    if (!run.error && cue.stream != run.stream.number) {
        FinishStream(out, run);
        StartStream(run, facts, cue.stream);
    }
    if (!run.error) {
        RenderUnit(run, cue);
    }
}

static void RenderConclude(Output &out, FileFacts &facts) {
    RenderRun &run = *out.render;
    FinishStream(out, run);
    if (run.existing > 0) {
        const char *rest = run.existing == 1 ? " was there already and stays as it is; --overwrite replaces it"
                                             : "s were there already and stay as they are; --overwrite replaces them";
        run.warnings.push_back({"files_exist", fmt::format("{} file{}", run.existing, rest)});
    }
    if (!facts.error && run.stream.number < 0) {
        run.warnings.push_back({"no_picture_then", "no picture is shown in that time, and none was written"});
    }
    facts.warnings.insert(facts.warnings.end(), run.warnings.begin(), run.warnings.end());
    if (!facts.error) {
        facts.error = run.error;
    }
    if (!facts.error && run.drawn == 0 && run.stream.number >= 0) {
        facts.error = Problem{"nothing_drawn", "none of its pictures could be drawn; does its .sub file belong to it?"};
    }
}

const ReportWriter kRender = {.cue = RenderCue, .conclude = RenderConclude};
