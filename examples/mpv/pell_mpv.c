/*
 * A plug-in for the mpv player that shows subtitle files through libpell_format.so: when a film is loaded it looks for
 * a subtitle file beside it, and while the film plays it draws the cue of the moment over the picture.
 *
 *     cc -shared -fPIC -o pell_mpv.so pell_mpv.c $(pkg-config --cflags --libs pell_charset) -ldl
 *     mpv --sub-auto=no --script=pell_mpv.so film.mkv
 *     mpv --sub-auto=no --script=pell_mpv.so --script-opts=pell_mpv-file=other.smi film.mkv
 *
 * Text formats only, as the plug-in delivers them; of a file with several streams the first is shown, of cues that
 * overlap the latest.
 */
#include "charset/pell_charset.h"

#include <dlfcn.h>
#include <mpv/client.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define FAILED_IN_A_ROW 100 /* reads; a file that goes on failing is not worth more */

typedef struct Cue {
    int64_t s64Start; /* ms */
    int64_t s64End;
    char *pszText; /* null: there is no cue */
} Cue;

typedef struct Subtitles {
    mpv_handle *mpv;
    FormatEntry *entry;
    void *file; /* the plug-in's handle; null while nothing is shown */
    uint32_t u32Format;
    int32_t s32Stream;
    int64_t s64Now;
    Cue stShown; /* the last one that has begun */
    Cue stNext;  /* read ahead */
} Subtitles;

/* --- what is drawn --------------------------------------------------------------------------------------------- */

/* The last field of an ASS event line: "Dialogue: " and nine fields stand before it. */
static const char *EventText(const char *pszLine) {
    for (int i = 0; i < 9 && pszLine != NULL; i++) {
        pszLine = strchr(pszLine, ',');
        pszLine = pszLine != NULL ? pszLine + 1 : NULL;
    }
    return pszLine != NULL ? pszLine : "";
}

/* One line, at most twice as long. Of text that is not ASS nothing may count as an override block. */
static char *AppendLine(char *pszOut, const char *pszLine, int iIsAss) {
    for (const char *psz = iIsAss ? EventText(pszLine) : pszLine; *psz != '\0'; psz++) {
        if (*psz == '{' && !iIsAss) {
            *pszOut++ = '\\';
        }
        if (*psz != '\r') {
            *pszOut++ = *psz;
        }
    }
    return pszOut;
}

/* The overlay takes ASS text, a line for each event. A frame has several events only of ASS; other formats' lines
   belong to one event. */
static void Draw(Subtitles *pstSub, char *pszText) {
    static const char bottom[] = "{\\an2}";
    const int iIsAss = pstSub->u32Format == SUB_STREAM_FORMAT_ASS;
    const size_t uLen = pszText != NULL ? strlen(pszText) : 0;
    char *pszAss = uLen != 0 ? malloc((uLen + 1) * (sizeof(bottom) + 2)) : NULL;
    char *pszOut = pszAss;

    for (char *pszLine = pszAss != NULL ? pszText : NULL; pszLine != NULL;) {
        char *pszNext = strchr(pszLine, '\n');
        if (pszNext != NULL) {
            *pszNext++ = '\0';
        }
        pszOut = pszLine == pszText || iIsAss ? stpcpy(pszOut, bottom) : stpcpy(pszOut, "\\N");
        pszOut = AppendLine(pszOut, pszLine, iIsAss);
        pszOut = stpcpy(pszOut, iIsAss && pszNext != NULL ? "\n" : "");
        pszLine = pszNext;
    }
    const char *command[] = {"osd-overlay", "1", pszAss != NULL ? "ass-events" : "none", pszAss != NULL ? pszAss : "",
                             NULL};
    mpv_command(pstSub->mpv, command);
    free(pszAss);
}

/* --- cues ------------------------------------------------------------------------------------------------------ */

static void DropCue(Cue *pstCue) {
    free(pstCue->pszText);
    *pstCue = (Cue){0};
}

/* The text of a frame is the plug-in's until the next read: it is copied. */
static Cue CueOf(const FmtFrame *pstFrame) {
    const char *pszText = pstFrame->pu8Data != NULL ? (const char *)pstFrame->pu8Data : "";
    Cue stCue = {pstFrame->s64Pts, INT64_MAX, strndup(pszText, pstFrame->u32DataLen)};

    /* Lyrics have no end, and others may not either: such a cue stays until the next one. */
    if (pstFrame->u32Duration != 0 && pstFrame->u32Duration != SUB_DURATION_UNKNOWN) {
        stCue.s64End = stCue.s64Start + pstFrame->u32Duration;
    }
    if (stCue.pszText != NULL) {
        size_t uLen = strlen(stCue.pszText);
        while (uLen > 0 && strchr("\r\n", stCue.pszText[uLen - 1]) != NULL) {
            stCue.pszText[--uLen] = '\0';
        }
    }
    return stCue;
}

/* -1 is one cue that failed, -2 the end. */
static Cue ReadCue(Subtitles *pstSub) {
    FmtFrame frame = {0};
    int32_t s32Result = -1;
    Cue stCue = {0};

    for (int i = 0; i < FAILED_IN_A_ROW && s32Result == -1; i++) {
        s32Result = pstSub->entry->fmt_read(pstSub->file, &frame);
    }
    if (s32Result == 0) {
        stCue = CueOf(&frame);
        pstSub->entry->fmt_free(pstSub->file, &frame);
    }
    return stCue;
}

static void ShowAt(Subtitles *pstSub, int64_t s64Now) {
    int iChanged = 0;

    if (s64Now < pstSub->s64Now) { /* back: the cues are read again from there */
        DropCue(&pstSub->stShown);
        DropCue(&pstSub->stNext);
        if (pstSub->entry->fmt_seek_pts(pstSub->file, pstSub->s32Stream, s64Now) == 0) {
            pstSub->stNext = ReadCue(pstSub);
        }
        iChanged = 1;
    }
    pstSub->s64Now = s64Now;
    while (pstSub->stNext.pszText != NULL && pstSub->stNext.s64Start <= s64Now) {
        DropCue(&pstSub->stShown);
        pstSub->stShown = pstSub->stNext;
        pstSub->stNext = ReadCue(pstSub);
        iChanged = 1;
    }
    if (pstSub->stShown.pszText != NULL && pstSub->stShown.s64End <= s64Now) {
        DropCue(&pstSub->stShown);
        iChanged = 1;
    }
    if (iChanged) {
        Draw(pstSub, pstSub->stShown.pszText);
    }
}

/* --- files ----------------------------------------------------------------------------------------------------- */

static void CloseSubtitles(Subtitles *pstSub) {
    DropCue(&pstSub->stShown);
    DropCue(&pstSub->stNext);
    Draw(pstSub, NULL);
    if (pstSub->file != NULL) {
        pstSub->entry->fmt_close(pstSub->file);
        pstSub->file = NULL;
    }
}

static const SubStreamInfo *FirstStream(Subtitles *pstSub) {
    FileInfo *info = NULL;

    if (pstSub->entry->fmt_get_info(pstSub->file, &info) != 0 || info->pastProgramInfo == NULL ||
        info->pastProgramInfo[0].u32SubStreamNum == 0) {
        return NULL;
    }
    return &info->pastProgramInfo[0].pastSubStream[0];
}

/* Converter and code type before the index: it asks for the file's encoding. */
static void OpenSubtitles(Subtitles *pstSub, const char *pszUrl) {
    FormatEntry *entry = pstSub->entry;
    Protocol *protocol = PellProtocolOf(entry);
    int32_t s32Utf8 = PELL_CODE_UTF8;
    const SubStreamInfo *stream = NULL;

    if (entry->fmt_find(pszUrl, protocol) != 0 || entry->fmt_open(pszUrl, protocol, &pstSub->file) != 0) {
        pstSub->file = NULL;
        return;
    }
    if (entry->fmt_invoke(pstSub->file, INVOKE_SET_CHARSET_OPS, (void *)&g_charsetOps) == 0 &&
        entry->fmt_invoke(pstSub->file, INVOKE_SET_DST_CODETYPE, &s32Utf8) == 0 &&
        entry->fmt_find_stream(pstSub->file, 0) == 0) {
        stream = FirstStream(pstSub);
    }
    if (stream == NULL || stream->u32Format == SUB_STREAM_FORMAT_IDX) {
        CloseSubtitles(pstSub);
        return;
    }
    pstSub->u32Format = stream->u32Format;
    pstSub->s32Stream = stream->s32StreamIndex;
    pstSub->s64Now = INT64_MAX; /* whatever comes first is a seek */
}

/* What the user names, or null. */
static char *NamedFile(mpv_handle *mpv) {
    static const char option[] = "pell_mpv-file=";
    char *pszAll = mpv_get_property_string(mpv, "script-opts"); /* "name=value,name=value" */
    const char *pszValue = pszAll != NULL ? strstr(pszAll, option) : NULL;
    char *pszNamed =
        pszValue != NULL ? strndup(pszValue + strlen(option), strcspn(pszValue + strlen(option), ",")) : NULL;

    mpv_free(pszAll);
    return pszNamed;
}

/* The first file that goes by the film's name. */
static void OpenBeside(Subtitles *pstSub, const char *pszFilm) {
    static const char *const extensions[] = {"srt", "ass", "ssa", "smi", "sub", "lrc"};
    const char *pszDot = strrchr(pszFilm, '.');
    int iStem = pszDot != NULL ? (int)(pszDot - pszFilm) : (int)strlen(pszFilm);
    char aszUrl[4096];

    for (size_t i = 0; i < sizeof(extensions) / sizeof(*extensions) && pstSub->file == NULL; i++) {
        int iLen = snprintf(aszUrl, sizeof(aszUrl), "%.*s.%s", iStem, pszFilm, extensions[i]);
        if (iLen > 0 && (size_t)iLen < sizeof(aszUrl) && access(aszUrl, R_OK) == 0) {
            OpenSubtitles(pstSub, aszUrl);
        }
    }
}

/* "::" is no part of a name: behind it the plug-in's URLs have parameters. */
static void FindSubtitles(Subtitles *pstSub) {
    char *pszNamed = NamedFile(pstSub->mpv);
    char *pszFilm = mpv_get_property_string(pstSub->mpv, "path");

    if (pszNamed != NULL) {
        OpenSubtitles(pstSub, pszNamed);
    } else if (pszFilm != NULL && strstr(pszFilm, "::") == NULL) {
        OpenBeside(pstSub, pszFilm);
    }
    fprintf(stderr, "pell: %s\n", pstSub->file != NULL ? "subtitles found" : "no subtitles found");
    free(pszNamed);
    mpv_free(pszFilm);
}

/* --- the player's thread for this plug-in ---------------------------------------------------------------------- */

__attribute__((visibility("default"))) int mpv_open_cplugin(mpv_handle *mpv);

int mpv_open_cplugin(mpv_handle *mpv) {
    void *library = dlopen("libpell_format.so", RTLD_NOW);
    Subtitles stSub = {.mpv = mpv, .entry = library != NULL ? dlsym(library, "g_formatEntry") : NULL};
    mpv_event_id id = MPV_EVENT_NONE;

    if (stSub.entry == NULL) {
        fprintf(stderr, "pell: libpell_format.so cannot be loaded\n");
        return -1;
    }
    mpv_observe_property(mpv, 0, "time-pos", MPV_FORMAT_DOUBLE);
    do {
        mpv_event *event = mpv_wait_event(mpv, -1);
        const mpv_event_property *property = event->data;
        id = event->event_id;
        if (id == MPV_EVENT_FILE_LOADED) {
            FindSubtitles(&stSub);
        } else if (id == MPV_EVENT_END_FILE) {
            CloseSubtitles(&stSub);
        } else if (id == MPV_EVENT_PROPERTY_CHANGE && stSub.file != NULL && property->format == MPV_FORMAT_DOUBLE) {
            ShowAt(&stSub, (int64_t)(*(double *)property->data * 1000));
        }
    } while (id != MPV_EVENT_SHUTDOWN);
    CloseSubtitles(&stSub);
    return 0;
}
