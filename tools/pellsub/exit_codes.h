// What the tool's exit status says. With several files the worst one counts.
#pragma once

enum ExitCode {
    EXIT_DONE = 0,
    EXIT_WARNED = 1,     // done, but something was lost or is uncertain
    EXIT_FAILED = 2,     // a file gave nothing
    EXIT_USAGE = 64,     // wrong command line
    EXIT_BY_SIGNAL = 128 // plus the signal's number: 130 after an interrupt
};
