// Help from the tables of the commands, set in lines of the terminal's width.
#include "host/program/help.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>

#include "host/program/json.h"

static const size_t USUAL_WIDTH = 80, LEAST_WIDTH = 50, MOST_WIDTH = 100;
static const size_t OPTION_COLUMN = 25;   // where the texts of options begin

// ---- words ----------------------------------------------------------------------------

std::vector<std::string> split_words(const char *words)
{
    std::vector<std::string> split;
    for (const char *at = words; at != nullptr && *at != '\0';) {
        size_t length = strcspn(at, " ");
        if (length > 0)
            split.emplace_back(at, length);
        at += length + (at[length] == ' ');
    }
    return split;
}

std::string words_in_a_line(const std::vector<std::string> &words, const char *last)
{
    std::string text;
    for (size_t i = 0; i < words.size(); i++)
        text += (i == 0 ? "" : i + 1 == words.size() ? last : ", ") + words[i];
    return text;
}

// How many letters have to be put in, taken out, exchanged or turned around to make one word of the other.
static size_t distance(const std::string &a, const std::string &b)
{
    std::vector<size_t> before(b.size() + 1), above(b.size() + 1), row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); j++)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); i++) {
        before.swap(above);
        above.swap(row);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            bool is_same =
                tolower(static_cast<unsigned char>(a[i - 1])) == tolower(static_cast<unsigned char>(b[j - 1]));
            row[j] = std::min({above[j - 1] + !is_same, above[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row[b.size()];
}

std::string nearest_word(const std::string &word, const std::vector<std::string> &words, size_t distance_allowed)
{
    static const size_t LONGEST = 64;   // what is longer was no slip of the fingers
    size_t least = distance_allowed;
    std::string nearest;
    if (word.empty() || word.size() > LONGEST)
        return nearest;
    for (const std::string &other : words) {
        bool is_begun = word.size() >= 3 && other.compare(0, word.size(), word) == 0;
        size_t apart = is_begun ? 1 : distance(word, other);
        if (apart < least || (apart == least && nearest.empty())) {
            least = apart;
            nearest = other;
        }
    }
    return nearest;
}

// ---- lines ----------------------------------------------------------------------------

static size_t line_width()
{
    winsize size = {};
    if (!isatty(STDOUT_FILENO) || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return USUAL_WIDTH;
    return std::clamp(static_cast<size_t>(size.ws_col), LEAST_WIDTH, MOST_WIDTH);
}

// A text in lines that begin in a column. The first one continues what is there already.
//   used  of the first line
static std::string filled(const char *text, size_t column, size_t used)
{
    std::string lines;
    const size_t width = line_width();
    auto begin_line = [&] {
        lines += "\n";
        used = 0;
    };
    for (const char *at = text; *at != '\0';) {
        if (*at == '\n') {
            at++;
            if (*at != '\0')
                begin_line();
            continue;
        }
        size_t word = strcspn(at, " \n");
        if (used > column && used + 1 + word > width)
            begin_line();
        bool is_first = used <= column;
        lines.append(is_first ? column - used : 1, ' ');
        used = (is_first ? column : used + 1) + word;
        lines.append(at, word);
        at += word;
        at += strspn(at, " ");
    }
    return lines + "\n";
}

static std::string indented(const char *lines)
{
    std::string text;
    for (const char *at = lines; *at != '\0';) {
        size_t length = strcspn(at, "\n");
        text += "  " + std::string(at, length) + "\n";
        at += length + (at[length] == '\n');
    }
    return text;
}

// ---- help -----------------------------------------------------------------------------

static std::string option_text(const Option_Row &row)
{
    std::string left = row.letter < 256 ? std::string("  -") + static_cast<char>(row.letter) + ", --" : "      --";
    left += row.name;
    if (row.value != nullptr)
        left += std::string(" ") + row.value;
    size_t used = left.size();
    if (used + 2 > OPTION_COLUMN) {
        left += "\n";
        used = 0;
    }
    return left + filled(row.text, OPTION_COLUMN, used);
}

static std::string options_text(const Option_Table &table)
{
    std::string text = std::string("\n") + table.title + ":\n";
    for (const Option_Row *row = table.rows; row->name != nullptr; row++)
        text += option_text(*row);
    return text;
}

std::string help_text(const Command &command)
{
    std::string text = std::string("Usage: velmora ") + command.usage + "\n" + command.summary + ".\n\nExamples:\n" +
                       indented(command.examples);
    for (const Option_Table *const *table = command.options; *table != nullptr; table++)
        text += options_text(**table);
    text += options_text(common_options) + "\n" + filled(command.text, 0, 0);
    return text + "\n" + filled((std::string("Exit status: ") + command.statuses + ".").c_str(), 0, 0) +
           "The manual has more: man velmora-" + command.name + "\n";
}

std::string help_text(const Command_Group *groups)
{
    std::string text = "Usage: velmora COMMAND [OPTIONS] ARGUMENTS\n"
                       "Looks into DICOM and ACR-NEMA data sets, checks, mends and writes them.\n"
                       "\n"
                       "  velmora dump image.dcm              everything that is in a file\n"
                       "  velmora get PatientName *.dcm       one attribute of many files\n"
                       "  velmora check archive/              what is wrong in all files of a folder\n";
    for (const Command_Group *group = groups; group->title != nullptr; group++) {
        text += std::string("\n") + group->title + ":\n";
        for (const Command *const *command = group->commands; *command != nullptr; command++) {
            std::string name = std::string("  ") + (*command)->name;
            text += name + filled((*command)->summary, 13, name.size());
        }
    }
    return text + "\n" +
           filled("velmora help COMMAND tells how a command is used, with examples; velmora --version the version; "
                  "man velmora the whole.\n",
                  0, 0) +
           filled(
               "A file may also be a folder, which is walked, or - for standard input. A TAG is 0010,0010, a name or "
               "a keyword as velmora dict finds them, or a path such as 0040,a730[2]/0008,0104.\n",
               0, 0) +
           filled("Results go to standard output, messages to standard error. Exit status: 0 done, 1 something found "
                  "(check, diff) or not found, 2 wrong use, 3 a file could not be read or written.\n",
                  0, 0);
}

// ---- JSON -----------------------------------------------------------------------------

static void put(Json *json, const char *key, const char *text)
{
    if (text == nullptr)
        return;
    json->key(key);
    json->string(text);
}

static void write_options(Json *json, const Option_Table &table)
{
    json->start_object();
    put(json, "title", table.title);
    json->key("options");
    json->start_array();
    for (const Option_Row *row = table.rows; row->name != nullptr; row++) {
        char letter[2] = {static_cast<char>(row->letter), '\0'};
        json->start_object();
        put(json, "name", row->name);
        put(json, "letter", row->letter < 256 ? letter : nullptr);
        put(json, "value", row->value);
        put(json, "choices", row->choices);
        put(json, "text", row->text);
        json->end_object();
    }
    json->end_array();
    json->end_object();
}

static void write_command(Json *json, const char *group, const Command &command)
{
    json->start_object();
    put(json, "name", command.name);
    put(json, "group", group);
    put(json, "usage", command.usage);
    put(json, "summary", command.summary);
    put(json, "examples", command.examples);
    put(json, "text", command.text);
    put(json, "statuses", command.statuses);
    json->key("tables");
    json->start_array();
    for (const Option_Table *const *table = command.options; *table != nullptr; table++)
        write_options(json, **table);
    write_options(json, common_options);
    json->end_array();
    json->end_object();
}

void write_help_as_json(const Command_Group *groups)
{
    Json json(true);
    json.start_object();
    json.key("commands");
    json.start_array();
    for (const Command_Group *group = groups; group->title != nullptr; group++)
        for (const Command *const *command = group->commands; *command != nullptr; command++)
            write_command(&json, group->title, **command);
    json.end_array();
    json.end_object();
    json.end_document();
}
