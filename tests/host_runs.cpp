#include "tests/host_runs.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <filesystem>

Folder::Folder()
{
    char name[] = "/tmp/velmora_test_XXXXXX";
    path = mkdtemp(name);
}

Folder::~Folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::string Folder::write(const std::string &name, const std::string &bytes) const
{
    std::string whole = path + "/" + name;
    FILE *file = fopen(whole.c_str(), "wb");
    fwrite(bytes.data(), 1, bytes.size(), file);
    fclose(file);
    return whole;
}

static void become(const std::string &program, const std::vector<std::string> &arguments, const std::string &folder)
{
    std::vector<char *> argv = {const_cast<char *>(program.c_str())};
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    if (!folder.empty() && chdir(folder.c_str()) != 0)
        _exit(127);
    unsetenv("NO_COLOR");
    setenv("TERM", "xterm", 1);
    execv(program.c_str(), argv.data());
    _exit(127);
}

// Moves what is there to move; a null text is an end that was closed.
static void exchange(int in, int outs[2], const std::string &input, std::string *texts[2])
{
    size_t sent = 0;
    time_t deadline = time(nullptr) + 60;
    while ((texts[0] != nullptr || texts[1] != nullptr) && time(nullptr) < deadline) {
        pollfd polls[3] = {
            {texts[0] ? outs[0] : -1, POLLIN, 0},
            {texts[1] ? outs[1] : -1, POLLIN, 0},
            {in, POLLOUT, 0}
        };
        poll(polls, 3, 1000);
        if (in >= 0 && polls[2].revents != 0) {
            ssize_t done = sent < input.size() ? write(in, input.data() + sent, input.size() - sent) : -1;
            sent += done > 0 ? static_cast<size_t>(done) : 0;
            if (done <= 0) {
                close(in);
                in = -1;
            }
        }
        for (int i = 0; i < 2; i++) {
            char block[65536];
            ssize_t got = polls[i].revents != 0 ? read(outs[i], block, sizeof block) : -1;
            if (got > 0)
                texts[i]->append(block, static_cast<size_t>(got));
            if (polls[i].revents != 0 && got <= 0)
                texts[i] = nullptr;
        }
    }
    if (in >= 0)
        close(in);
}

Outcome run_program(const std::string &program, const std::vector<std::string> &arguments, const std::string &input,
                    const std::string &folder)
{
    signal(SIGPIPE, SIG_IGN);
    int in[2], out[2], err[2];
    if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0)
        abort();
    pid_t child = fork();
    if (child == 0) {
        signal(SIGPIPE, SIG_DFL);
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        for (int end : {in[0], in[1], out[0], out[1], err[0], err[1]})
            close(end);
        become(program, arguments, folder);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    Outcome run = {2000, "", ""};
    int outs[2] = {out[0], err[0]};
    std::string *texts[2] = {&run.out, &run.err};
    exchange(in[1], outs, input, texts);
    bool is_late = texts[0] != nullptr || texts[1] != nullptr;
    if (is_late)
        kill(child, SIGKILL);
    close(out[0]);
    close(err[0]);
    int state = 0;
    waitpid(child, &state, 0);
    if (!is_late)
        run.status = WIFEXITED(state) ? WEXITSTATUS(state) : 1000 + WTERMSIG(state);
    return run;
}

pid_t start_program(const std::string &program, const std::vector<std::string> &arguments, const std::string &folder,
                    int out)
{
    pid_t child = fork();
    if (child != 0)
        return child;
    if (dup2(out, 1) < 0 || dup2(open("/dev/null", O_WRONLY), 2) < 0)
        _exit(127);
    become(program, arguments, folder);
    _exit(127);
}
