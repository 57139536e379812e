#include "bench/peers/measures.h"

#include <malloc.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

const char *const work_names[WORKS] = {"load", "walk", "dump", "write", "write again", "release"};

// ---- times ----------------------------------------------------------------------------

// Time of the processor, which other processes do not take from.
static double now()
{
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// What the clock itself takes between two looks at it: for a small data set as much as a walk through it.
static double time_of_clock()
{
    double least = 1;
    for (int i = 0; i < 1000; i++) {
        double before = now(), took = now() - before;
        least = took < least ? took : least;
    }
    return least;
}

static void measure_file(const Library &library, const Input_File &file, Times *times)
{
    double at[WORKS + 1];
    at[WORK_LOAD] = now();
    void *set = library.load(file);
    at[WORK_WALK] = now();
    if (set == nullptr)
        return;
    times->elements += library.walk(set);
    at[WORK_DUMP] = now();
    library.dump(set);
    at[WORK_WRITE] = now();
    library.write(set);
    at[WORK_WRITE_AGAIN] = now();
    library.write(set);
    at[WORK_RELEASE] = now();
    library.release(set);
    at[WORKS] = now();
    static const double clock = time_of_clock();
    for (int i = 0; i < WORKS; i++)
        times->seconds[i] += at[i + 1] - at[i] - clock;
}

Times measure(const Library &library, const Input &input)
{
    Times times = {};
    for (int i = 0; i < input.times; i++)
        for (const Input_File &file : input.files)
            measure_file(library, file, &times);
    return times;
}

// ---- memory ---------------------------------------------------------------------------

// A line of /proc/self/status in bytes, -1 if there is none.
static double status_line(const char *name)
{
    FILE *status = fopen("/proc/self/status", "r");
    char line[256];
    double found = -1;
    long kilobytes;
    while (status != nullptr && fgets(line, sizeof line, status) != nullptr)
        if (strncmp(line, name, strlen(name)) == 0 && sscanf(line + strlen(name), ": %ld", &kilobytes) == 1)
            found = static_cast<double>(kilobytes) * 1024;
    if (status != nullptr)
        fclose(status);
    return found;
}

static bool forget_peak()
{
    FILE *file = fopen("/proc/self/clear_refs", "w");
    if (file == nullptr)
        return false;
    bool is_done = fputs("5", file) >= 0;
    return fclose(file) == 0 && is_done;
}

static Memory load_and_look(const Library &library, const Input_File &file)
{
    malloc_trim(0);
    double before = status_line("RssAnon");
    if (!forget_peak() || before < 0)
        return {-1, -1, 1};
    double all_before = status_line("VmRSS");
    void *set = library.load(file);
    double peak = status_line("VmHWM");
    malloc_trim(0);
    double live = status_line("RssAnon");
    return {live - before, peak - all_before, static_cast<double>(library.walk(set))};
}

Memory measure_memory(const Library &library, const Input &input)
{
    Memory memory = {-1, -1, 1};
    int ends[2];
    if (pipe(ends) != 0)
        return memory;
    pid_t child = fork();
    if (child == 0) {
        memory = load_and_look(library, input.files[0]);
        _exit(write(ends[1], &memory, sizeof memory) == sizeof memory ? 0 : 1);
    }
    close(ends[1]);
    if (child < 0 || read(ends[0], &memory, sizeof memory) != sizeof memory)
        memory = {-1, -1, 1};
    close(ends[0]);
    if (child > 0)
        waitpid(child, nullptr, 0);
    return memory;
}

// ---- what a library can do ------------------------------------------------------------

bool can_work_on(const Library &library, const Input_File &file)
{
    const unsigned int longest = 10;   // seconds
    pid_t child = fork();
    if (child == 0) {
        alarm(longest);
        void *set = library.load(file);
        bool is_done = set != nullptr && library.walk(set) > 0 && library.dump(set) > 0 && library.write(set) > 0;
        _exit(is_done ? 0 : 1);
    }
    int state = 1;
    return child > 0 && waitpid(child, &state, 0) == child && state == 0;
}
