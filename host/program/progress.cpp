// The progress line.
#include "host/program/progress.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static const double FIRST_AFTER = 1.0, NEXT_AFTER = 0.1;   // seconds

static bool is_shown = false;
static double started = 0, last_shown = 0;

static double seconds_now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

static bool is_wanted()
{
    static const char *terminal = getenv("TERM");
    static const bool wanted = isatty(STDERR_FILENO) && terminal != nullptr && strcmp(terminal, "dumb") != 0;
    return wanted;
}

void show_progress(long long files, long long failed)
{
    if (!is_wanted())
        return;
    double now = seconds_now();
    if (started == 0)
        started = now;
    if (now - started < FIRST_AFTER || now - last_shown < NEXT_AFTER)
        return;
    last_shown = now;
    fprintf(stderr, "\r\033[K%lld file%s, %.0f s", files, files == 1 ? "" : "s", now - started);
    if (failed > 0)
        fprintf(stderr, ", %lld failed", failed);
    fflush(stderr);
    is_shown = true;
}

void clear_progress()
{
    if (!is_shown)
        return;
    fputs("\r\033[K", stderr);
    is_shown = false;
}
