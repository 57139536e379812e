// Paths one by one, so that a list of any length and a folder of any size need no memory to speak of.
#include "host/program/inputs.h"

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <algorithm>

#include "host/program/command.h"
#include "host/program/messages.h"

struct Walk {
    Input_Fct work;
    void *user;
    const Input_Choice *choice;
    int status;
};

bool has_several(const Input_Choice &choice)
{
    struct stat state;
    if (choice.paths.size() + choice.lists.size() != 1 || !choice.lists.empty())
        return true;
    return stat(choice.paths[0].c_str(), &state) == 0 && S_ISDIR(state.st_mode);
}

//   top_length  bytes of the path that name the folder walked; 0: none
static void take_file(Walk *walk, const std::string &path, size_t top_length)
{
    size_t at = top_length > 0 ? path.find_first_not_of('/', top_length) : path.find_last_of('/') + 1;
    Input input = {path, path.substr(at), top_length > 0, ""};
    int status = STATUS_DONE;
    if (walk->choice->plan != nullptr)
        status = walk->choice->plan(&input, walk->choice->planner);
    walk->status = worse(walk->status, status == STATUS_DONE ? walk->work(input, walk->user) : status);
}

static bool is_same(const struct stat &state, const std::string &folder)
{
    struct stat other;
    return !folder.empty() && stat(folder.c_str(), &other) == 0 && other.st_dev == state.st_dev &&
           other.st_ino == state.st_ino;
}

// Something in a folder. Where the file system says at once that it is a file, nobody has to ask again.
struct Found {
    std::string path;
    bool is_file;   // known to be one; else it is to be found out
};

// Appends what a folder holds, the last name first.
static bool read_folder(const std::string &path, std::vector<Found> *found)
{
    DIR *folder = opendir(path.c_str());
    if (folder == nullptr) {
        complain_about(path, std::string("cannot be opened: ") + strerror(errno));
        return false;
    }
    size_t waiting = found->size();
    std::string before = path + (path.back() == '/' ? "" : "/");
    while (const dirent *entry = readdir(folder))
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
            found->push_back({before + entry->d_name, entry->d_type == DT_REG});
    closedir(folder);
    std::sort(found->begin() + static_cast<long>(waiting), found->end(), [](const Found &a, const Found &b) { return a.path > b.path; });
    return true;
}

// Without recursion: what is still to be looked at waits in a stack, the next path on top.
static void walk_folder(Walk *walk, const std::string &top)
{
    std::vector<Found> waiting = {{top, false}};
    bool is_empty = true;
    while (!waiting.empty()) {
        std::string path = std::move(waiting.back().path);
        bool is_file = waiting.back().is_file;
        waiting.pop_back();
        if (is_file) {
            is_empty = false;
            take_file(walk, path, top.size());
            continue;
        }
        struct stat state;
        if (path != top && lstat(path.c_str(), &state) != 0)
            continue;
        bool is_folder = path == top || S_ISDIR(state.st_mode);
        bool is_link = path != top && S_ISLNK(state.st_mode) && stat(path.c_str(), &state) == 0;
        if (!is_folder) {
            if (S_ISREG(state.st_mode) || (is_link && S_ISREG(state.st_mode))) {
                is_empty = false;
                take_file(walk, path, top.size());
            }
            continue;
        }
        if (path != top && is_same(state, walk->choice->skipped))
            continue;
        if (!read_folder(path, &waiting)) {
            walk->status = STATUS_UNREADABLE;
            is_empty = false;
        }
    }
    if (is_empty) {
        complain_about(top, "holds no file");
        walk->status = STATUS_UNREADABLE;
    }
}

static void take_path(Walk *walk, const std::string &path)
{
    struct stat state;
    if (path != "-" && stat(path.c_str(), &state) == 0 && S_ISDIR(state.st_mode))
        walk_folder(walk, path);
    else
        take_file(walk, path, 0);
}

static void take_list(Walk *walk, const std::string &name, bool zero_between)
{
    FILE *list = name == "-" ? stdin : fopen(name.c_str(), "re");
    if (list == nullptr) {
        complain_about(name, std::string("cannot be opened: ") + strerror(errno));
        walk->status = STATUS_UNREADABLE;
        return;
    }
    char *line = nullptr;
    size_t room = 0;
    ssize_t length;
    while ((length = getdelim(&line, &room, zero_between ? '\0' : '\n', list)) > 0) {
        std::string path(line, static_cast<size_t>(length));
        while (!path.empty() &&
               (path.back() == '\0' || (!zero_between && (path.back() == '\n' || path.back() == '\r'))))
            path.pop_back();
        if (!path.empty())
            take_path(walk, path);
    }
    free(line);
    if (list != stdin)
        fclose(list);
}

int for_each_input(const Input_Choice &choice, Input_Fct work, void *user)
{
    Walk walk = {work, user, &choice, STATUS_DONE};
    for (const std::string &path : choice.paths)
        take_path(&walk, path);
    for (const std::string &list : choice.lists)
        take_list(&walk, list, choice.zero_between);
    return walk.status;
}
