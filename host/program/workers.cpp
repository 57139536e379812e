// The worker processes and the line of files that they work on.
//
// A worker is a copy of the program at the end of a socket. It is sent a path and sends back records: what to write to
// the two streams, what to fold, and at the end the tally with the status. Records of the first file in line are
// written out at once, those of later files wait.
#include "host/program/workers.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <deque>
#include <memory>

#include "host/program/folding.h"
#include "host/program/messages.h"
#include "host/program/output.h"

static const size_t FILES_IN_LINE = 16;         // for each worker
static const size_t BYTES_IN_LINE = 32 << 20;   // waiting to be written; above that only the first file goes on
static const size_t LONGEST_TEXT = 1 << 20;     // of one record; a longer one is sent in several
static const size_t LONGEST_RECORD = 1 << 30;

enum Record_Kind : char {
    RECORD_OUT = 'o',
    RECORD_ERR = 'e',
    RECORD_FOLDED = 'f',
    RECORD_DONE = 'd',   // a Final
};

struct Record {
    Record_Kind kind;
    std::string bytes;
};

// A File_Result; its message follows.
struct Final {
    int status;
    Tally tally;
    double seconds;
};

// ---- bytes on a socket ----------------------------------------------------------------

static bool send_all(int socket, const void *bytes, size_t count)
{
    const char *at = static_cast<const char *>(bytes);
    while (count > 0) {
        ssize_t done = write(socket, at, count);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        at += done;
        count -= static_cast<size_t>(done);
    }
    return true;
}

static bool receive_all(int socket, void *bytes, size_t count)
{
    char *at = static_cast<char *>(bytes);
    while (count > 0) {
        ssize_t done = read(socket, at, count);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        at += done;
        count -= static_cast<size_t>(done);
    }
    return true;
}

static void put_number(std::string *to, size_t number)
{
    to->append(reinterpret_cast<const char *>(&number), sizeof number);
}

static void put_text(std::string *to, const std::string &text)
{
    put_number(to, text.size());
    *to += text;
}

static size_t get_number(const char **at)
{
    size_t number;
    memcpy(&number, *at, sizeof number);
    *at += sizeof number;
    return number;
}

static std::string get_text(const char **at)
{
    size_t length = get_number(at);
    std::string text(*at, length);
    *at += length;
    return text;
}

static std::string pack(const Folded_Lines &lines)
{
    std::string bytes;
    put_number(&bytes, lines.to_err);
    put_number(&bytes, lines.kinds.size());
    for (const Folded_Kind &kind : lines.kinds)
        for (const std::string *text : {&kind.mask, &kind.lines, &kind.example})
            put_text(&bytes, *text);
    put_number(&bytes, lines.lines.size());
    for (const Folded_Lines::Line &line : lines.lines) {
        put_number(&bytes, line.kind);
        put_text(&bytes, line.text);
    }
    return bytes;
}

static Folded_Lines unpack(const std::string &bytes)
{
    const char *at = bytes.data();
    Folded_Lines lines;
    lines.to_err = get_number(&at) != 0;
    lines.kinds.resize(get_number(&at));
    for (Folded_Kind &kind : lines.kinds)
        for (std::string *text : {&kind.mask, &kind.lines, &kind.example})
            *text = get_text(&at);
    lines.lines.resize(get_number(&at));
    for (Folded_Lines::Line &line : lines.lines) {
        line.kind = get_number(&at);
        line.text = get_text(&at);
    }
    return lines;
}

static std::string pack(const File_Result &result)
{
    Final fixed = {result.status, result.tally, result.seconds};
    return std::string(reinterpret_cast<const char *>(&fixed), sizeof fixed) + result.message;
}

static File_Result unpack_result(const std::string &bytes)
{
    Final fixed;
    memcpy(&fixed, bytes.data(), sizeof fixed);
    return {fixed.status, fixed.tally, fixed.seconds, bytes.substr(sizeof fixed)};
}

// ---- in a worker ----------------------------------------------------------------------

static void send_record(int socket, Record_Kind kind, const void *bytes, size_t count)
{
    char head[1 + sizeof count];
    head[0] = kind;
    memcpy(head + 1, &count, sizeof count);
    if (!send_all(socket, head, sizeof head) || !send_all(socket, bytes, count))
        _exit(STATUS_UNREADABLE);   // the program has gone
}

// Copied piece by piece: a value in a mapped file that became shorter is no address to write from. See output.cpp.
static void send_text(void *user, bool to_err, const char *bytes, size_t count)
{
    for (size_t at = 0; at < count; at += LONGEST_TEXT) {
        std::string piece(bytes + at, std::min(LONGEST_TEXT, count - at));
        send_record(*static_cast<int *>(user), to_err ? RECORD_ERR : RECORD_OUT, piece.data(), piece.size());
    }
}

static void send_folded(void *user, const Folded_Lines &lines)
{
    std::string bytes = pack(lines);
    send_record(*static_cast<int *>(user), RECORD_FOLDED, bytes.data(), bytes.size());
}

// A worker does not outlive the program, whose end may leave it no time to close the socket: what is half written is
// taken away then.
static void die_with_parent(pid_t parent)
{
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
        _exit(STATUS_UNREADABLE);
#endif
}

[[noreturn]] static void be_a_worker(int socket, File_Fct work, void *user)
{
    const Diversion diversion = {send_text, send_folded, &socket};
    divert(&diversion);
    for (size_t size = 0; receive_all(socket, &size, sizeof size);) {
        std::string bytes(size, '\0');
        if (!receive_all(socket, &bytes[0], size))
            break;
        const char *at = bytes.data();
        Input input;
        input.path = get_text(&at);
        input.inside = get_text(&at);
        input.output = get_text(&at);
        input.refusal = get_text(&at);
        input.from_folder = get_number(&at) != 0;
        input.number = get_number(&at);
        File_Result result;
        work_on_file(input, work, user, &result);
        flush_out();
        std::string packed = pack(result);
        send_record(socket, RECORD_DONE, packed.data(), packed.size());
    }
    _exit(STATUS_DONE);
}

// ---- the line of files ----------------------------------------------------------------

// A file in line, or something that is said between two files.
struct Job {
    Input input;
    bool is_done = false;
    std::deque<Record> records;   // to be written when the job comes first
};

struct Worker {
    pid_t pid = -1;
    int socket = -1;
    std::string received;   // the beginning of a record
    Job *job = nullptr;     // what it works on
};

struct Pool {
    File_Fct work;
    void *user;
    const Pool_Calls *calls;
    void *calls_user;
    bool is_printed;   // a file is not done before its records are written
    std::vector<Worker> workers;
    std::deque<std::unique_ptr<Job>> line;
    size_t waiting_bytes = 0;
    const Diversion *around = nullptr;   // where everything goes in the end
    Diversion diversion = {};            // where what the walk has to say goes
};

static void add_record(Pool *pool, Job *job, Record_Kind kind, std::string bytes)
{
    pool->waiting_bytes += bytes.size();
    job->records.push_back({kind, std::move(bytes)});
}

static Job *add_job(Pool *pool)
{
    pool->line.push_back(std::make_unique<Job>());
    return pool->line.back().get();
}

static void write_record(Pool *pool, const Job &job, const Record &record)
{
    switch (record.kind) {
    case RECORD_OUT:
        return write_out(record.bytes);
    case RECORD_ERR:
        return write_err(record.bytes);
    case RECORD_FOLDED:
        return tell_folded(unpack(record.bytes));
    case RECORD_DONE:
        File_Result result = unpack_result(record.bytes);
        if (pool->is_printed)
            pool->calls->note(job.input, result, pool->calls_user);
        return pool->calls->take(result, pool->calls_user);
    }
}

// Writes what the first files in line have to say.
static void write_first(Pool *pool)
{
    divert(pool->around);
    while (!pool->line.empty()) {
        Job *job = pool->line.front().get();
        while (!job->records.empty()) {
            pool->waiting_bytes -= job->records.front().bytes.size();
            write_record(pool, *job, job->records.front());
            job->records.pop_front();
        }
        if (!job->is_done)
            break;
        pool->line.pop_front();
    }
    divert(&pool->diversion);
}

// What the walk has to say waits behind the files that were found so far.
static void queue_text(void *user, bool to_err, const char *bytes, size_t count)
{
    Pool *pool = static_cast<Pool *>(user);
    Job *job = add_job(pool);
    add_record(pool, job, to_err ? RECORD_ERR : RECORD_OUT, std::string(bytes, count));
    job->is_done = true;
}

static void queue_folded(void *user, const Folded_Lines &lines)
{
    Pool *pool = static_cast<Pool *>(user);
    Job *job = add_job(pool);
    add_record(pool, job, RECORD_FOLDED, pack(lines));
    job->is_done = true;
}

// ---- the workers ----------------------------------------------------------------------

static bool start_worker(Pool *pool, Worker *worker)
{
    int ends[2];
    flush_out();   // nothing may wait in the buffer: the worker would have it too
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    pid_t parent = getpid(), pid = fork();
    if (pid == 0) {
        close(ends[0]);
        for (const Worker &other : pool->workers)
            if (other.socket >= 0)
                close(other.socket);
        die_with_parent(parent);
        pool->calls->begin_worker(pool->calls_user);
        be_a_worker(ends[1], pool->work, pool->user);
    }
    close(ends[1]);
    if (pid < 0) {
        close(ends[0]);
        return false;
    }
    worker->pid = pid;
    worker->socket = ends[0];
    worker->received.clear();
    return true;
}

static int stop_worker(Worker *worker)
{
    int state = 0;
    close(worker->socket);
    while (waitpid(worker->pid, &state, 0) < 0 && errno == EINTR)
        continue;
    worker->socket = -1;
    worker->pid = -1;
    return state;
}

// The last record of a file.
static void finish_job(Pool *pool, Job *job, const std::string &packed)
{
    if (!pool->is_printed)
        pool->calls->note(job->input, unpack_result(packed), pool->calls_user);
    add_record(pool, job, RECORD_DONE, packed);
    job->is_done = true;
}

static void fail(Pool *pool, Job *job, const std::string &text)
{
    File_Result result;
    result.status = STATUS_UNREADABLE;
    result.message = text;
    add_record(pool, job, RECORD_ERR, "velmora: " + visible(name_of(job->input)) + ": " + text + "\n");
    finish_job(pool, job, pack(result));
}

static void bury(Pool *pool, Worker *worker)
{
    Job *job = worker->job;
    int state = stop_worker(worker);
    worker->job = nullptr;
    if (job == nullptr)
        return;
    std::string how = WIFSIGNALED(state) ? std::string("was killed by signal ") + std::to_string(WTERMSIG(state)) +
                                               " (" + strsignal(WTERMSIG(state)) + ")"
                                         : "ended with status " + std::to_string(WEXITSTATUS(state));
    fail(pool, job, "the process that worked on it " + how);
}

// Takes whole records off what a worker has sent.
static void take_records(Pool *pool, Worker *worker)
{
    size_t count, head = 1 + sizeof count, at = 0;
    const std::string &bytes = worker->received;
    while (worker->job != nullptr && bytes.size() - at >= head) {
        memcpy(&count, bytes.data() + at + 1, sizeof count);
        if (bytes.size() - at - head < count)
            break;
        Record_Kind kind = static_cast<Record_Kind>(bytes[at]);
        std::string record = bytes.substr(at + head, count);
        at += head + count;
        if (kind == RECORD_DONE) {
            finish_job(pool, worker->job, record);
            worker->job = nullptr;
        } else {
            add_record(pool, worker->job, kind, std::move(record));
        }
    }
    worker->received.erase(0, at);
}

static void hear(Pool *pool, Worker *worker)
{
    char block[65536];
    ssize_t got = read(worker->socket, block, sizeof block);
    if (got < 0 && errno == EINTR)
        return;
    if (got <= 0 || worker->received.size() > LONGEST_RECORD)
        return bury(pool, worker);
    worker->received.append(block, static_cast<size_t>(got));
    take_records(pool, worker);
}

// Waits until a worker has something to say, and takes it. When much is waiting already, only the worker of the first
// file is heard: the others stand still until theirs can be written.
static void pump(Pool *pool)
{
    std::vector<pollfd> polls;
    std::vector<Worker *> heard;
    const Job *first = pool->line.empty() ? nullptr : pool->line.front().get();
    for (Worker &worker : pool->workers) {
        if (worker.job == nullptr || (pool->waiting_bytes > BYTES_IN_LINE && worker.job != first))
            continue;
        polls.push_back({worker.socket, POLLIN, 0});
        heard.push_back(&worker);
    }
    if (polls.empty() || poll(polls.data(), polls.size(), -1) <= 0)
        return;
    for (size_t i = 0; i < polls.size(); i++)
        if (polls[i].revents != 0)
            hear(pool, heard[i]);
    write_first(pool);
}

static Worker *find_free_worker(Pool *pool)
{
    for (Worker &worker : pool->workers)
        if (worker.job == nullptr && worker.socket >= 0)
            return &worker;
    for (Worker &worker : pool->workers)
        if (worker.socket < 0 && start_worker(pool, &worker))
            return &worker;
    return nullptr;
}

static bool has_working(const Pool &pool)
{
    return std::any_of(pool.workers.begin(), pool.workers.end(),
                       [](const Worker &worker) { return worker.job != nullptr; });
}

static void give(Pool *pool, Worker *worker, Job *job)
{
    std::string bytes;
    put_text(&bytes, job->input.path);
    put_text(&bytes, job->input.inside);
    put_text(&bytes, job->input.output);
    put_text(&bytes, job->input.refusal);
    put_number(&bytes, job->input.from_folder);
    put_number(&bytes, job->input.number);
    std::string request;
    put_text(&request, bytes);
    worker->job = job;
    if (!send_all(worker->socket, request.data(), request.size()))
        bury(pool, worker);
}

static int take_input(Input *input, void *user)
{
    Pool *pool = static_cast<Pool *>(user);
    if (pool->calls->is_known(input, pool->calls_user))
        return STATUS_DONE;
    while (pool->line.size() >= FILES_IN_LINE * pool->workers.size() && has_working(*pool))
        pump(pool);
    Worker *worker;
    while ((worker = find_free_worker(pool)) == nullptr && has_working(*pool))
        pump(pool);
    Job *job = add_job(pool);
    job->input = *input;
    if (worker != nullptr)
        give(pool, worker, job);
    else
        fail(pool, job, std::string("no process can be started: ") + strerror(errno));
    write_first(pool);
    return STATUS_DONE;
}

int for_each_input_in_workers(const Many_Choice &choice, File_Fct work, void *user, const Pool_Calls &calls,
                              void *calls_user)
{
    Pool pool = {};
    pool.work = work;
    pool.user = user;
    pool.calls = &calls;
    pool.calls_user = calls_user;
    pool.is_printed = !choice.journal.writes_files;
    pool.workers.resize(static_cast<size_t>(choice.jobs));
    pool.around = diversion();
    pool.diversion = {queue_text, queue_folded, &pool};
    divert(&pool.diversion);
    int status = for_each_input(choice.inputs, take_input, &pool);
    while (has_working(pool))
        pump(&pool);
    write_first(&pool);
    divert(pool.around);
    for (Worker &worker : pool.workers)
        if (worker.socket >= 0)
            stop_worker(&worker);
    return status;
}
