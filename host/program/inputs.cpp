// Paths one by one, so that a list of any length needs no memory, and a folder only that of its own names.
#include "host/program/inputs.h"

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <string_view>

#include "host/program/command.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/velmora_save.h"

struct Walk {
    Input_Fct work;
    void *user;
    const Input_Choice *choice;
    int status;
    size_t files;   // so far
};

bool has_several(const Input_Choice &choice)
{
    struct stat state;
    if (choice.paths.size() + choice.lists.size() != 1 || !choice.lists.empty())
        return true;
    return stat(choice.paths[0].c_str(), &state) == 0 && S_ISDIR(state.st_mode);
}

// ---- one file -------------------------------------------------------------------------

static std::string without_dots(const std::string &path)
{
    size_t at = 0;
    while (path.compare(at, 2, "./") == 0)
        at = std::min(path.find_first_not_of('/', at + 1), path.size());
    return path.substr(at);
}

static bool climbs(const std::string &path)
{
    return ("/" + path + "/").find("/../") != std::string::npos;
}

// The place of a file below the base. Empty: it does not stand there.
static std::string place_below(const std::string &base, const std::string &path)
{
    std::string folder = without_dots(base + "/"), file = without_dots(path);
    folder.erase(folder.find_last_not_of('/') + 1);
    if (folder.empty() && base[0] != '/')
        return file[0] == '/' || climbs(file) ? "" : file;
    if (file.compare(0, folder.size(), folder) != 0 || file[folder.size()] != '/')
        return "";
    std::string inside = file.substr(std::min(file.find_first_not_of('/', folder.size()), file.size()));
    return climbs(inside) ? "" : inside;
}

//   top_length  bytes of the path that name the folder walked; 0: none
static void take_file(Walk *walk, const std::string &path, size_t top_length)
{
    const Input_Choice &choice = *walk->choice;
    Input input;
    input.number = ++walk->files;
    input.path = path;
    input.from_folder = top_length > 0;
    input.inside = path.substr(top_length > 0 ? path.find_first_not_of('/', top_length) : path.find_last_of('/') + 1);
    if (!choice.base.empty() && path != "-") {
        input.inside = place_below(choice.base, path);
        if (input.inside.empty())
            input.refusal = "does not stand below " + visible(choice.base) + ", which --base names";
    }
    if (choice.plan != nullptr && input.refusal.empty())
        choice.plan(&input, choice.planner);
    walk->status = worse(walk->status, walk->work(&input, walk->user));
}

// ---- folders --------------------------------------------------------------------------

static bool is_same(const struct stat &state, const std::string &folder)
{
    struct stat other;
    return !folder.empty() && stat(folder.c_str(), &other) == 0 && other.st_dev == state.st_dev &&
           other.st_ino == state.st_ino;
}

// A folder on the way, with the names in it that are still to come.
struct Level {
    std::string path;                       // with a slash at its end
    std::string bytes;                      // of all names, each with a mark in front and a zero byte behind
    std::vector<unsigned int> names = {};   // where each begins; the next one last
};

// Where the file system says at once that it is a file, nobody has to ask again.
enum : char { IS_FILE = 'f', IS_NOT_KNOWN = '?' };

static void take_name(Level *level, const dirent *entry)
{
    bool is_left_out = strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0 ||
                       velmora_host::is_temporary_name(entry->d_name);
    if (is_left_out || level->bytes.size() > UINT32_MAX - 1 - sizeof entry->d_name)
        return;
    level->names.push_back(static_cast<unsigned int>(level->bytes.size()));
    level->bytes += entry->d_type == DT_REG ? IS_FILE : IS_NOT_KNOWN;
    level->bytes.append(entry->d_name, strlen(entry->d_name) + 1);
}

// False: the names are not all there, which was said.
static bool read_folder(Level *level)
{
    std::string error;
    DIR *folder = opendir(level->path.c_str());
    if (folder == nullptr)
        error = std::string("cannot be opened: ") + strerror(errno);
    errno = 0;
    for (const dirent *entry; folder != nullptr && (entry = readdir(folder)) != nullptr; errno = 0)
        take_name(level, entry);
    if (folder != nullptr && errno != 0)
        error = std::string("cannot be read to its end: ") + strerror(errno);
    if (folder != nullptr)
        closedir(folder);
    const char *bytes = level->bytes.data();
    std::sort(level->names.begin(), level->names.end(),
              [bytes](unsigned int a, unsigned int b) { return strcmp(bytes + a + 1, bytes + b + 1) > 0; });
    if (error.empty())
        return true;
    std::string name = level->path.substr(0, level->path.find_last_not_of('/') + 1);
    complain_about(name.empty() ? "/" : name, error);
    return false;
}

// Whether it is the old form of a file that stands beside it.
static bool is_backup(const std::string &path)
{
    static const char SUFFIX[] = ".bak";
    size_t fixed = strlen(SUFFIX);
    return path.size() > fixed && path.compare(path.size() - fixed, fixed, SUFFIX) == 0 &&
           access(path.substr(0, path.size() - fixed).c_str(), F_OK) == 0;
}

// Without recursion: what is still to be looked at waits in the levels.
static void walk_folder(Walk *walk, const std::string &top)
{
    std::vector<Level> levels;
    bool is_empty = true;
    auto enter = [&](const std::string &path) {
        levels.push_back({path + (path.back() == '/' ? "" : "/"), ""});
        if (!read_folder(&levels.back())) {
            walk->status = STATUS_UNREADABLE;
            is_empty = false;
        }
    };
    for (enter(top); !levels.empty();) {
        Level &level = levels.back();
        if (level.names.empty()) {
            levels.pop_back();
            continue;
        }
        const char *name = level.bytes.data() + level.names.back();
        bool is_file = name[0] == IS_FILE;
        std::string path = level.path + (name + 1);
        level.names.pop_back();
        struct stat state = {};
        if ((!is_file && lstat(path.c_str(), &state) != 0) || (walk->choice->leaves_backups && is_backup(path)))
            continue;
        bool is_link = S_ISLNK(state.st_mode) && stat(path.c_str(), &state) == 0;
        if (is_file || S_ISREG(state.st_mode)) {
            is_empty = false;
            take_file(walk, path, top.size());
        } else if (!is_link && S_ISDIR(state.st_mode) && !is_same(state, walk->choice->skipped)) {
            enter(path);
        }
    }
    if (is_empty) {
        complain_about(top, "holds no file");
        walk->status = STATUS_UNREADABLE;
    }
}

// ---- paths and lists ------------------------------------------------------------------

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
    std::string shown = name == "-" ? "standard input" : name;
    char *line = nullptr;
    size_t room = 0;
    ssize_t length;
    bool has_zeros = false;
    while (!has_zeros && (length = getdelim(&line, &room, zero_between ? '\0' : '\n', list)) > 0) {
        std::string path(line, static_cast<size_t>(length));
        has_zeros = !zero_between && path.find('\0') != std::string::npos;
        while (!path.empty() && (zero_between ? path.back() == '\0' : path.back() == '\n' || path.back() == '\r'))
            path.pop_back();
        if (!path.empty() && !has_zeros)
            take_path(walk, path);
    }
    if (ferror(list))
        complain_about(shown, std::string("cannot be read: ") + strerror(errno));
    else if (has_zeros)
        complain_about(shown, "has a zero byte in a line, and is not read on; -0 reads paths that end with zero bytes");
    if (ferror(list) || has_zeros)
        walk->status = STATUS_UNREADABLE;
    free(line);
    if (list != stdin)
        fclose(list);
}

int for_each_input(const Input_Choice &choice, Input_Fct work, void *user)
{
    Walk walk = {work, user, &choice, STATUS_DONE, 0};
    for (const std::string &path : choice.paths)
        take_path(&walk, path);
    for (const std::string &list : choice.lists)
        take_list(&walk, list, choice.zero_between);
    return walk.status;
}
