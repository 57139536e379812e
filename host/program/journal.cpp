// Writing the journal, and finding in it what is done. Of a journal that is gone on with only a number and a place of
// each line are held in memory; the line is read again when its file comes.
#include "host/program/journal.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <algorithm>
#include <functional>
#include <iterator>
#include <vector>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/json.h"
#include "host/program/messages.h"
#include "host/program/output.h"

typedef rapidjson::Writer<rapidjson::StringBuffer> Line_Writer;

static const int VERSION = 1;
static const unsigned PARSE_FLAGS = rapidjson::kParseIterativeFlag;   // brackets of any depth need no stack
static const char BEGINNING[] = "{\"journal\":\"velmora\"";

struct Known_Line {
    size_t key;       // hash of the path
    int64_t offset;   // of the line
    bool operator<(const Known_Line &other) const
    {
        return key != other.key ? key < other.key : offset < other.offset;
    }
};

struct Journal {
    std::string path;
    int file = -1;
    bool has_failed = false;
    Journal_Head head = {};
    std::vector<Known_Line> lines;   // sorted
};

// In the order of the exit statuses, from STATUS_SKIPPED on.
static const char *const STATUS_WORDS[] = {"skipped", "done", "found", "", "failed"};

// ---- JSON -----------------------------------------------------------------------------

static void put(Line_Writer *writer, const char *key, const std::string &text)
{
    std::string shown = utf8_of(text);
    writer->Key(key);
    writer->String(shown.data(), static_cast<rapidjson::SizeType>(shown.size()));
}

static void put(Line_Writer *writer, const char *key, int64_t number)
{
    writer->Key(key);
    writer->Int64(number);
}

static std::string hexadecimal(const std::string &bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[byte & 15];
    }
    return text;
}

// A path that can be found again, whatever bytes it has.
static void put_path(Line_Writer *writer, const std::string &path)
{
    put(writer, "path", path);
    if (!is_utf8(path))
        put(writer, "path_bytes", hexadecimal(path));
}

// Null: there is no such member.
static const rapidjson::Value *member_of(const rapidjson::Value &line, const char *key)
{
    auto at = line.FindMember(key);
    return at != line.MemberEnd() ? &at->value : nullptr;
}

static std::string text_at(const rapidjson::Value &line, const char *key)
{
    const rapidjson::Value *text = member_of(line, key);
    return text != nullptr && text->IsString() ? std::string(text->GetString(), text->GetStringLength()) : "";
}

static int64_t number_at(const rapidjson::Value &line, const char *key)
{
    const rapidjson::Value *number = member_of(line, key);
    return number != nullptr && number->IsInt64() ? number->GetInt64() : 0;
}

static bool has_path(const rapidjson::Value &line, const std::string &path)
{
    return is_utf8(path) ? text_at(line, "path") == path : text_at(line, "path_bytes") == hexadecimal(path);
}

// What stands for a path in the index, from the path and from its line.
static size_t key_of(const std::string &path)
{
    return std::hash<std::string>()(is_utf8(path) ? path : hexadecimal(path));
}

static size_t key_of(const rapidjson::Value &line)
{
    std::string bytes = text_at(line, "path_bytes");
    return std::hash<std::string>()(bytes.empty() ? text_at(line, "path") : bytes);
}

// ---- the head -------------------------------------------------------------------------

static std::string working_folder()
{
    char path[PATH_MAX];
    return getcwd(path, sizeof path) != nullptr ? path : "";
}

static std::string head_line(const Journal_Head &head)
{
    char now[32] = "";
    time_t seconds = time(nullptr);
    tm parts;
    strftime(now, sizeof now, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &parts));
    rapidjson::StringBuffer buffer;
    Line_Writer writer(buffer);
    writer.StartObject();
    put(&writer, "journal", "velmora");
    put(&writer, "version", VERSION);
    put(&writer, "command", head.command);
    writer.Key("options");
    writer.StartArray();
    for (const std::string &option : options_taken()) {
        std::string shown = utf8_of(option);
        writer.String(shown.data(), static_cast<rapidjson::SizeType>(shown.size()));
    }
    writer.EndArray();
    put(&writer, "output", head.output);
    put(&writer, "folder", working_folder());
    put(&writer, "definitions", definitions_place());
    put(&writer, "program", VELMORA_VERSION);
    put(&writer, "begun", now);
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

static std::string options_at(const rapidjson::Value &line)
{
    std::string text;
    const rapidjson::Value *options = member_of(line, "options");
    if (options != nullptr && options->IsArray())
        for (const rapidjson::Value &option : options->GetArray())
            if (option.IsString())
                text += (text.empty() ? "" : " ") + std::string(option.GetString(), option.GetStringLength());
    return text;
}

static std::string shown_or(const std::string &text, const char *none)
{
    return text.empty() ? none : quoted(text);
}

// In which way a run differs from the one that began the journal; empty: in none.
static std::string difference(const rapidjson::Value &begun, const rapidjson::Value &now)
{
    if (number_at(begun, "version") != VERSION)
        return "was written by another version of velmora";
    if (text_at(begun, "command") != text_at(now, "command"))
        return "is of velmora " + visible(text_at(begun, "command"));
    std::string options = options_at(begun);
    if (options != options_at(now))
        return "was begun " + (options.empty() ? "without options" : "with the options " + visible(options));
    static const struct {
        const char *key, *text, *none;
    } rows[] = {
        {"output",      "is of results in ",              "no folder"     },
        {"folder",      "was begun in the folder ",       "an unknown one"},
        {"definitions", "was begun with definitions in ", "no folder"     },
    };
    for (const auto &row : rows)
        if (text_at(begun, row.key) != text_at(now, row.key))
            return row.text + shown_or(text_at(begun, row.key), row.none);
    return "";
}

// ---- opening --------------------------------------------------------------------------

static bool write_line(Journal *journal, const std::string &line)
{
    const char *at = line.data();
    size_t left = line.size();
    while (left > 0) {
        ssize_t done = write(journal->file, at, left);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        at += done;
        left -= static_cast<size_t>(done);
    }
    return true;
}

static void say_failure(const Journal &journal, const std::string &what)
{
    complain("the journal %s %s", quoted(journal.path).c_str(), what.c_str());
}

// Takes a line into the index. What is no line of ours is left alone.
static void learn_line(Journal *journal, char *text, size_t length, int64_t offset)
{
    rapidjson::Document line;
    line.Parse<PARSE_FLAGS>(text, length);
    if (!line.HasParseError() && line.IsObject() && line.HasMember("path"))
        journal->lines.push_back({key_of(line), offset});
}

static bool compare_head(const Journal &journal, const char *text, size_t length)
{
    rapidjson::Document begun, now;
    std::string head = head_line(journal.head);
    now.Parse(head.data(), head.size());
    begun.Parse<PARSE_FLAGS>(text, length);
    if (begun.HasParseError() || !begun.IsObject()) {
        say_failure(journal, "has no first line that could be read; begin with another one");
        return false;
    }
    std::string other = difference(begun, now);
    if (!other.empty())
        say_failure(journal, other + "; go on in the same way, or begin with another one");
    return other.empty();
}

// Reads all whole lines. What stands behind the last one was torn when a run was stopped, and is cut off.
static int read_lines(Journal *journal, FILE *file)
{
    char *text = nullptr;
    size_t room = 0;
    int64_t offset = 0;
    bool is_right = true, is_torn = false;
    for (ssize_t length; is_right && !is_torn && (length = getline(&text, &room, file)) > 0;) {
        is_torn = text[length - 1] != '\n';
        if (offset == 0 && !is_torn)
            is_right = compare_head(*journal, text, static_cast<size_t>(length));
        else if (!is_torn)
            learn_line(journal, text, static_cast<size_t>(length), offset);
        offset += is_torn ? 0 : length;
    }
    free(text);
    if (is_torn && ftruncate(journal->file, offset) != 0)
        say_failure(*journal, std::string("cannot be written: ") + strerror(errno));
    std::sort(journal->lines.begin(), journal->lines.end());
    if (!is_right)
        return STATUS_WRONG_USE;
    if (offset > 0 || write_line(journal, head_line(journal->head)))
        return STATUS_DONE;
    say_failure(*journal, std::string("cannot be written: ") + strerror(errno));
    return STATUS_UNREADABLE;
}

// Whether this is a journal, by its first bytes; an empty file may become one.
static bool is_journal(int file)
{
    char start[sizeof BEGINNING - 1];
    ssize_t got = pread(file, start, sizeof start, 0);
    return got >= 0 && memcmp(start, BEGINNING, static_cast<size_t>(got)) == 0;
}

static int begin_journal(Journal *journal, bool resumed)
{
    struct stat state;
    journal->file = open(journal->path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (journal->file < 0 || fstat(journal->file, &state) != 0) {
        say_failure(*journal, std::string("cannot be opened: ") + strerror(errno));
        return STATUS_UNREADABLE;
    }
    const char *refusal = nullptr;
    if (!S_ISREG(state.st_mode))
        refusal = "is no regular file";
    else if (flock(journal->file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        refusal = "is written by another run";
    else if (state.st_size > 0 && !is_journal(journal->file))
        refusal = "is another kind of file, which is not written to";
    else if (state.st_size > 0 && !resumed)
        refusal = "is there already; --resume goes on with it";
    if (refusal != nullptr) {
        say_failure(*journal, refusal);
        return STATUS_WRONG_USE;
    }
    int copy = dup(journal->file);
    FILE *file = copy >= 0 ? fdopen(copy, "r") : nullptr;
    if (file == nullptr) {
        say_failure(*journal, std::string("cannot be read: ") + strerror(errno));
        return STATUS_UNREADABLE;
    }
    int status = read_lines(journal, file);
    fclose(file);
    return status;
}

Journal *open_journal(const std::string &path, bool resumed, const Journal_Head &head, int *status)
{
    Journal *journal = new Journal;
    journal->path = path;
    journal->head = head;
    *status = begin_journal(journal, resumed);
    if (*status == STATUS_DONE)
        return journal;
    close_journal(journal);
    return nullptr;
}

// ---- what is done ---------------------------------------------------------------------

static void note_state(Input *input)
{
    struct stat state;
    input->size = -1;
    input->mtime.clear();
    if (input->path == "-" || stat(input->path.c_str(), &state) != 0)
        return;
    char text[64];
    snprintf(text, sizeof text, "%lld.%09ld", static_cast<long long>(state.st_mtim.tv_sec), state.st_mtim.tv_nsec);
    input->size = state.st_size;
    input->mtime = text;
}

static bool read_line(const Journal &journal, int64_t offset, rapidjson::Document *line)
{
    std::string text;
    char block[1024];
    while (text.find('\n') == std::string::npos) {
        ssize_t got = pread(journal.file, block, sizeof block, offset + static_cast<int64_t>(text.size()));
        if (got <= 0)
            return false;
        text.append(block, static_cast<size_t>(got));
    }
    text.resize(text.find('\n'));
    line->Parse<PARSE_FLAGS>(text.data(), text.size());
    return !line->HasParseError() && line->IsObject();
}

static int status_of(const rapidjson::Value &line)
{
    std::string word = text_at(line, "status");
    for (size_t i = 0; i < std::size(STATUS_WORDS); i++)
        if (word == STATUS_WORDS[i])
            return static_cast<int>(i) + STATUS_SKIPPED;
    return STATUS_UNREADABLE;
}

static bool is_done(const Journal &journal, const rapidjson::Value &line, const Input &input)
{
    struct stat state;
    int status = status_of(line);
    bool is_same = status != STATUS_UNREADABLE && input.size >= 0 && number_at(line, "size") == input.size &&
                   text_at(line, "mtime") == input.mtime;
    if (!journal.head.writes_files || status == STATUS_SKIPPED)
        return is_same;
    // A list may give a file another place than the walk did by which it was found before.
    return is_same && text_at(line, "output") == utf8_of(input.output) && stat(input.output.c_str(), &state) == 0;
}

bool is_in_journal(Journal *journal, Input *input, File_Result *result)
{
    note_state(input);
    size_t key = key_of(input->path);
    auto at = std::upper_bound(journal->lines.begin(), journal->lines.end(), Known_Line{key, INT64_MAX});
    rapidjson::Document line;
    bool is_found = false;
    while (!is_found && at != journal->lines.begin() && (--at)->key == key)
        is_found = read_line(*journal, at->offset, &line) && has_path(line, input->path);
    if (!is_found || !is_done(*journal, line, *input))
        return false;
    result->status = status_of(line);
    result->tally.elements = number_at(line, "elements");
    const rapidjson::Value *counts = member_of(line, "counts");
    for (size_t i = 0; journal->head.counts[i] != nullptr && counts != nullptr && counts->IsObject(); i++)
        result->tally.own[i] = number_at(*counts, journal->head.counts[i]);
    return true;
}

// ---- writing --------------------------------------------------------------------------

void write_to_journal(Journal *journal, const Input &input, const File_Result &result)
{
    if (journal->has_failed)
        return;
    Input written = input;
    if (input.output == input.path)
        note_state(&written);   // replaced by now
    rapidjson::StringBuffer buffer;
    Line_Writer writer(buffer);
    writer.StartObject();
    put_path(&writer, input.path);
    put(&writer, "status", STATUS_WORDS[result.status - STATUS_SKIPPED]);
    if (!input.output.empty())
        put(&writer, "output", input.output);
    if (written.size >= 0) {
        put(&writer, "size", written.size);
        put(&writer, "mtime", written.mtime);
    }
    put(&writer, "elements", result.tally.elements);
    writer.Key("counts");
    writer.StartObject();
    for (size_t i = 0; journal->head.counts[i] != nullptr; i++)
        put(&writer, journal->head.counts[i], result.tally.own[i]);
    writer.EndObject();
    writer.Key("seconds");
    writer.SetMaxDecimalPlaces(6);
    writer.Double(result.seconds);
    if (!result.message.empty())
        put(&writer, "message", result.message);
    writer.EndObject();
    if (write_line(journal, std::string(buffer.GetString(), buffer.GetSize()) + "\n"))
        return;
    say_failure(*journal, std::string("cannot be written, and is not gone on with: ") + strerror(errno));
    journal->has_failed = true;
}

void leave_journal(Journal *journal)
{
    close(journal->file);
    journal->file = -1;
}

int close_journal(Journal *journal)
{
    int status = journal->has_failed ? STATUS_UNREADABLE : STATUS_DONE;
    if (journal->file >= 0)
        close(journal->file);
    delete journal;
    return status;
}
