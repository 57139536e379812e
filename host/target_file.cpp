// A file that is made or replaced as a whole. Its bytes go to a temporary file in the same folder, which takes the name
// when they are on the disk. What ends the program on the way takes the temporary file along.
#include "host/save_internal.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/xattr.h>
#endif

namespace velmora_host
{

static const size_t PENDING = 256 * 1024;

// ---- signals --------------------------------------------------------------------------

static const int ENDING_SIGNALS[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
enum { SIGNALS = sizeof ENDING_SIGNALS / sizeof ENDING_SIGNALS[0] };

// Static: the handler reaches nothing else. Empty where there is no file to take away.
static char temporary_path[PATH_MAX];
static struct sigaction older_actions[SIGNALS], older_limit_action;

static void end_with_file(int signal_number)
{
    if (temporary_path[0] != '\0')
        unlink(temporary_path);
    signal(signal_number, SIG_DFL);
    raise(signal_number);
}

static void hold_signals(sigset_t *before)
{
    sigset_t all;
    sigemptyset(&all);
    for (int each : ENDING_SIGNALS)
        sigaddset(&all, each);
    sigprocmask(SIG_BLOCK, &all, before);
}

static void guard_file()
{
    struct sigaction action = {};
    action.sa_handler = end_with_file;
    sigemptyset(&action.sa_mask);
    for (int each : ENDING_SIGNALS)
        sigaddset(&action.sa_mask, each);
    for (int i = 0; i < SIGNALS; i++) {
        sigaction(ENDING_SIGNALS[i], nullptr, &older_actions[i]);
        if (older_actions[i].sa_handler != SIG_IGN)
            sigaction(ENDING_SIGNALS[i], &action, nullptr);
    }
    // A file that may not grow any more shows as a failed write.
    action.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &action, &older_limit_action);
}

static void end_guard()
{
    temporary_path[0] = '\0';
    for (int i = 0; i < SIGNALS; i++)
        sigaction(ENDING_SIGNALS[i], &older_actions[i], nullptr);
    sigaction(SIGXFSZ, &older_limit_action, nullptr);
}

// ---- paths ----------------------------------------------------------------------------

bool is_same_file(const std::string &a, const std::string &b)
{
    struct stat of_a, of_b;
    return stat(a.c_str(), &of_a) == 0 && stat(b.c_str(), &of_b) == 0 && of_a.st_dev == of_b.st_dev &&
           of_a.st_ino == of_b.st_ino;
}

static std::string folder_of(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// The file that a path leads to: links are followed, since it is the file that is replaced.
static std::string without_links(const std::string &path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

static std::string failure_text(const char *what, int code)
{
    return std::string(what) + ": " + strerror(code);
}

// Whether the file has its second name already, and is no link to itself: so a run leaves it that was killed between
// the two steps of replacing it.
static bool is_backed_up(const std::string &path, const std::string &backup)
{
    struct stat of_path, of_backup;
    return stat(path.c_str(), &of_path) == 0 && lstat(backup.c_str(), &of_backup) == 0 &&
           of_path.st_dev == of_backup.st_dev && of_path.st_ino == of_backup.st_ino;
}

static bool is_allowed(const std::string &path, const Save_Options &options, std::string *error)
{
    struct stat state;
    if (stat(path.c_str(), &state) != 0) {
        if (lstat(path.c_str(), &state) == 0 && S_ISLNK(state.st_mode))
            *error = "is a link that leads nowhere, and is not replaced by a file";
        return error->empty();
    }
    if (S_ISDIR(state.st_mode))
        *error = "is a folder, not a file";
    else if (!S_ISREG(state.st_mode))
        *error = "is no regular file, and is not replaced by one";
    else if (!options.in_place && !options.source.empty() && is_same_file(path, options.source))
        *error = "is the file that is read; it is only replaced with --in-place";
    else if (!options.backup.empty() && lstat(options.backup.c_str(), &state) == 0 &&
             !is_backed_up(path, options.backup))
        *error = "is not replaced: " + options.backup + " exists already, and would be lost";
    return error->empty();
}

// ---- opening --------------------------------------------------------------------------

static const char TEMPORARY_START[] = ".velmora-", TEMPORARY_END[] = ".tmp";

bool is_temporary_name(const char *name)
{
    size_t length = strlen(name), end = strlen(TEMPORARY_END);
    return strncmp(name, TEMPORARY_START, strlen(TEMPORARY_START)) == 0 && length > end &&
           strcmp(name + length - end, TEMPORARY_END) == 0;
}

// A name of its own, whatever else is written into the folder meanwhile.
static int make_temporary(const std::string &folder, std::string *path)
{
    for (int n = 0;; n++) {
        errno = ENAMETOOLONG;
        *path = folder + "/" + TEMPORARY_START + std::to_string(getpid()) + "-" + std::to_string(n) + TEMPORARY_END;
        if (path->size() >= sizeof temporary_path)
            return -1;
        int file = open(path->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
        if (file >= 0 || errno != EEXIST)
            return file;
    }
}

// What stands beside a file: the list of those who may use it, and what users attach. Labels of the system are given by
// the system. A file system that has none of it, or a list that does not fit the room, leaves the new file as it is.
static void take_over_attributes(int file, const std::string &old)
{
#ifdef __linux__
    char names[4096], value[4096];
    ssize_t size = listxattr(old.c_str(), names, sizeof names);
    for (ssize_t at = 0; at < size; at += static_cast<ssize_t>(strlen(names + at)) + 1) {
        const char *name = names + at;
        if (strncmp(name, "user.", 5) != 0 && strcmp(name, "system.posix_acl_access") != 0)
            continue;
        ssize_t length = getxattr(old.c_str(), name, value, sizeof value);
        if (length >= 0 && fsetxattr(file, name, value, static_cast<size_t>(length), 0) != 0)
            return;
    }
#else
    static_cast<void>(file), static_cast<void>(old);
#endif
}

// The new file grants what the old one did, and nothing to others: who cannot give it the old owner or group takes away
// what those alone had.
static void take_over_rights(int file, const std::string &old)
{
    struct stat state;
    if (stat(old.c_str(), &state) != 0)
        return;
    mode_t mode = state.st_mode & 07777;
    if (fchown(file, state.st_uid, state.st_gid) != 0) {
        mode &= 0777;
        if (fchown(file, static_cast<uid_t>(-1), state.st_gid) != 0)
            mode = (mode & ~static_cast<mode_t>(S_IRWXG)) | (mode & S_IRWXO) << 3;
    }
    bool is_whole = fchmod(file, mode) == 0 && mode == (state.st_mode & 07777);
    if (is_whole)
        take_over_attributes(file, old);
}

bool open_target(const char *path, const Save_Options &options, Target *target, std::string *error)
{
    target->is_durable = options.is_durable;
    target->is_dry = options.dry_run;
    if (target->is_dry && (path[0] == '\0' || strcmp(path, "-") == 0))
        return true;
    if (strcmp(path, "-") == 0) {
        target->file = STDOUT_FILENO;
        return true;
    }
    error->clear();
    target->path = without_links(path);
    if (!is_allowed(target->path, options, error))
        return false;
    if (target->is_dry)
        return true;

    // Between the making of the file and the note of its name no signal comes through.
    sigset_t before;
    hold_signals(&before);
    std::string temporary;
    target->file = make_temporary(folder_of(target->path), &temporary);
    int code = errno;
    bool is_made = target->file >= 0;
    if (is_made) {
        memcpy(temporary_path, temporary.c_str(), temporary.size() + 1);
        target->temporary = temporary;
        guard_file();
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (!is_made)
        *error = failure_text("cannot be written", code);
    else
        take_over_rights(target->file, target->path);
    return is_made;
}

Target::~Target()
{
    if (!temporary.empty()) {
        unlink(temporary.c_str());
        end_guard();
    }
    if (file > STDOUT_FILENO)
        close(file);
}

// ---- writing --------------------------------------------------------------------------

// The disk gets to work while the rest of a large file is still being written, which is what saving then waits for at
// its end; a request of this size costs little.
static void start_disk(Target *target)
{
    static const int64_t AT_A_TIME = 8 << 20;
#ifdef SYNC_FILE_RANGE_WRITE
    int64_t done = target->written - static_cast<int64_t>(target->pending.size());
    if (!target->is_durable || target->temporary.empty() || done - target->started < AT_A_TIME)
        return;
    sync_file_range(target->file, target->started, done - target->started, SYNC_FILE_RANGE_WRITE);
    target->started = done;
#endif
}

static void write_all(Target *target, const char *bytes, size_t size)
{
    while (size > 0 && target->failure == 0) {
        ssize_t done = write(target->file, bytes, size);
        pollfd out = {target->file, POLLOUT, 0};
        if (done < 0 && errno == EAGAIN)   // standard output may be a pipe that was told not to block
            poll(&out, 1, -1);
        else if (done < 0 && errno != EINTR)
            target->failure = errno;
        if (done > 0) {
            bytes += done;
            size -= static_cast<size_t>(done);
        }
    }
}

static void write_pending(Target *target)
{
    write_all(target, target->pending.data(), target->pending.size());
    target->pending.clear();
}

void put(Target *target, const char *bytes, size_t size)
{
    target->written += static_cast<int64_t>(size);
    if (target->is_dry)
        return;
    if (target->memory != nullptr) {
        target->memory->append(bytes, size);
        return;
    }
    if (target->pending.size() + size > PENDING)
        write_pending(target);
    if (size > PENDING)
        write_all(target, bytes, size);
    else
        target->pending.append(bytes, size);
    start_disk(target);
}

int64_t put_from_file(Target *target, int file, int64_t from, int64_t size)
{
    int64_t done = 0;
#ifdef __linux__
    if (target->temporary.empty())
        return 0;
    write_pending(target);
    while (done < size && target->failure == 0) {
        off_t at = from + done;
        ssize_t got = copy_file_range(file, &at, target->file, nullptr, static_cast<size_t>(size - done), 0);
        if (got <= 0 && !(got < 0 && errno == EINTR))
            break;
        done += got > 0 ? got : 0;
    }
    target->written += done;
    start_disk(target);
#endif
    return done;
}

// ---- the end --------------------------------------------------------------------------

// The old file gets its second name first, so that it is there under one of the two at any time.
static bool keep_backup(const std::string &path, const std::string &backup, std::string *error)
{
    if (backup.empty() || link(path.c_str(), backup.c_str()) == 0 || (errno == EEXIST && is_backed_up(path, backup)))
        return true;
    // File systems without hard links.
    if ((errno == EPERM || errno == EOPNOTSUPP || errno == EMLINK) && access(backup.c_str(), F_OK) != 0 &&
        rename(path.c_str(), backup.c_str()) == 0)
        return true;
    *error = failure_text(("the old file cannot be kept as " + backup).c_str(), errno);
    return false;
}

static void give_back(const std::string &path, const std::string &backup)
{
    if (access(path.c_str(), F_OK) == 0)
        unlink(backup.c_str());
    else
        rename(backup.c_str(), path.c_str());
}

static void sync_folder(const std::string &path)
{
    int folder = open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return;
    fsync(folder);   // the file has its name by now; not all file systems can do this
    close(folder);
}

bool finish_target(Target *target, const Save_Options &options, std::string *error)
{
    if (target->memory != nullptr || target->is_dry)
        return true;
    write_pending(target);
    if (target->temporary.empty()) {
        if (target->failure == EPIPE)   // who reads there has had enough
            return true;
        if (target->failure != 0)
            *error = failure_text("cannot be written", target->failure);
        return target->failure == 0;
    }
    if (target->failure == 0 && target->is_durable && fsync(target->file) != 0)
        target->failure = errno;
    if (close(target->file) != 0 && target->failure == 0)
        target->failure = errno;
    target->file = -1;
    if (target->failure != 0) {
        *error = failure_text("cannot be written", target->failure);
        return false;
    }
    if (!keep_backup(target->path, options.backup, error))
        return false;
    if (rename(target->temporary.c_str(), target->path.c_str()) != 0) {
        *error = failure_text("cannot be replaced", errno);
        if (!options.backup.empty())
            give_back(target->path, options.backup);
        return false;
    }
    target->temporary.clear();
    end_guard();
    if (target->is_durable)
        sync_folder(target->path);
    return true;
}

}   // namespace velmora_host
