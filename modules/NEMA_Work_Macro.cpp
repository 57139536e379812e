// Coded entries: the row of a code table whose meaning is most like a free text, by a count of the words that the text
// holds.
#include "modules/modules_internal.h"

#include <stdio.h>

static const char SOURCE[] = ".\\NEMA_Work_Macro";

enum Code_Limits {
    ROW_ROOM = 180,   // a line of a table, terminated; a longer one comes in as two rows
    TABLE_PATH_ROOM = 272,
    SOUGHT_ROOM = 192,      // the text to look up, terminated
    MAX_WORDS = 19,         // of a meaning; the words behind them are not looked for
    MAX_WORD_LENGTH = 79,   // a longer word is not looked for
    MAX_TIES = 100,         // rows that are listed as equally good
};

// The rows of a table; a field that a row does not have is null.
struct Code_Table {
    char **scheme;
    char **value;
    char **meaning;
    int rows;
};

// The best rows of a table, in the order of the file.
struct Best_Rows {
    int row[MAX_TIES];
    int count;
    int score;
};

static Code_Seq *current_code = nullptr;   // the record that the last successful call filled

/* ---- the table ------------------------------------------------------------------------ */

static FILE *open_table(const char *table, char *path)
{
    const char *directory = DICOM_Module_Setup(hwnd, nullptr);
    int length = snprintf(path, TABLE_PATH_ROOM, "%s%s", directory != nullptr ? directory : "", table);
    return directory != nullptr && length >= 0 && length < TABLE_PATH_ROOM ? fopen(path, "r") : nullptr;
}

static bool is_comment(const char *line)
{
    return line[0] == '*' || line[0] == '#' || line[0] == ';';
}

static const char *shown(const char *field)
{
    return field != nullptr ? field : "";
}

// Gives a growing array of texts room for one more.
static bool grow_column(char ***column, int rows, const char *what)
{
    void *grown = ALLOC_REALLOC(hwnd, what, *column, rows + 1, sizeof **column);
    if (grown == nullptr)
        return false;
    *column = static_cast<char **>(grown);
    (*column)[rows] = nullptr;
    return true;
}

static bool copy_field(char **field, const char *text, const char *what)
{
    if (text == nullptr)
        return true;
    *field = ALLOC_STRDUP(hwnd, what, text);
    return *field != nullptr;
}

// Appends the row of a line, and cuts the line up. Returns false when memory ran out; the table can be released then.
static bool add_row(Code_Table *table, char *line)
{
    int row = table->rows;
    if (!grow_column(&table->scheme, row, "coding_scheme") || !grow_column(&table->value, row, "code_value") ||
        !grow_column(&table->meaning, row, "code_meaning"))
        return false;
    table->rows++;

    line[strcspn(line, "\r\n")] = '\0';
    const char *scheme = Str_Strtok(line, " ");
    const char *value = Str_Strtok(nullptr, " ");
    const char *meaning = Str_Strtok(nullptr, "\n");
    REPORT(hwnd, LEVEL_ATTRIBUTE, "DICOM_Macro_CodeSequence_Set: table line[%d] -> %s  %s  %s", row, shown(scheme),
           shown(value), shown(meaning));
    return copy_field(&table->scheme[row], scheme, "coding_scheme[nb_lines]") &&
           copy_field(&table->value[row], value, "code_value[nb_lines]") &&
           copy_field(&table->meaning[row], meaning, "code_meaning[nb_lines]");
}

static bool read_rows(Code_Table *table, FILE *stream)
{
    char line[ROW_ROOM];
    while (fgets(line, sizeof line, stream) != nullptr)
        if (!is_comment(line) && !add_row(table, line))
            return false;
    return true;
}

static void release_table(Code_Table *table)
{
    for (int i = 0; i < table->rows; i++) {
        frame_free(table->scheme[i]);
        frame_free(table->value[i]);
        frame_free(table->meaning[i]);
    }
    frame_free(table->scheme);
    frame_free(table->value);
    frame_free(table->meaning);
}

/* ---- the score of a row ---------------------------------------------------------------- */

// The score that a text of this length asks for: in a short text a few letters say little.
static int minimum_score(size_t length)
{
    static const int minima[] = {10, 10, 20, 25, 25, 30, 30, 35, 35, 40};
    const size_t last = sizeof minima / sizeof *minima - 1;
    return minima[length < last ? length : last];
}

// The longest head of the word that the text holds, of two characters or more, tells: 5 points for each character, and
// 10 for a head that begins a word of the text. The word is cut down on the way.
static int score_word(const char *sought, char *word)
{
    for (size_t length = strlen(word); length >= 2; length--) {
        word[length] = '\0';
        const char *found = strstr(sought, word);
        if (found != nullptr)
            return 5 * static_cast<int>(length) + (found == sought || found[-1] == ' ' ? 10 : 0);
    }
    return 0;
}

static int score_row(const char *sought, const char *row_meaning)
{
    char meaning[ROW_ROOM];
    snprintf(meaning, sizeof meaning, "%s", row_meaning);
    Str_To_Lower(meaning);

    char *words[MAX_WORDS];
    int count = 0;
    for (char *word = Str_Strtok(meaning, " ^\t"); word != nullptr; word = Str_Strtok(nullptr, " ^\t"))
        if (count < MAX_WORDS && strlen(word) <= MAX_WORD_LENGTH)
            words[count++] = word;

    REPORT(hwnd, LEVEL_READ_FAILURE, "DICOM_Macro_CodeSequence_Set: count_b=%d", count);
    int score = 0;
    for (int i = 0; i < count; i++) {
        REPORT(hwnd, LEVEL_READ_FAILURE, "DICOM_Macro_CodeSequence_Set: [%d] = %s", i, words[i]);
        score += score_word(sought, words[i]);
    }
    return score;
}

static void find_best_rows(const Code_Table *table, const char *text, Best_Rows *best)
{
    char sought[SOUGHT_ROOM];
    snprintf(sought, sizeof sought, "%s", text);
    Str_To_Lower(sought);
    int minimum = minimum_score(strlen(sought));

    for (int i = 0; i < table->rows; i++) {
        int score = table->meaning[i] != nullptr ? score_row(sought, table->meaning[i]) : 0;
        if (score < minimum || score < best->score)
            continue;
        if (score > best->score)
            best->count = 0;
        best->score = score;
        if (best->count < MAX_TIES)
            best->row[best->count++] = i;
    }
}

/* ---- the choice -------------------------------------------------------------------------- */

static void report_no_match(const Code_Seq *code, const char *table_name)
{
    REPORT(hwnd, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 Unable to find a match for \x01%s\x02 in table \x01%s",
           code->str, table_name);
}

static void report_tie(const Code_Seq *code, const char *table_name, const Code_Table *table, const Best_Rows *best)
{
    REPORT(hwnd, Flag_Error_Warning,
           "    \xF1\x05WARNING:\x02 Find to many matchs (\x01%d\x02) for \x01%s\x02 in table \x01%s", best->count,
           code->str, table_name);
    for (int i = 0; i < best->count; i++)
        REPORT(hwnd, Flag_Error_Warning, "\t\t\t   %s \x01%s\x02 = \x01%s",
               i == 0 ? "We used:" : "And not:  ", table->value[best->row[i]], table->meaning[best->row[i]]);
}

// The texts of a row go over to the record.
static void take_row(Code_Seq *code, Code_Table *table, int row)
{
    code->coding_scheme = table->scheme[row];
    code->code_value = table->value[row];
    code->code_meaning = table->meaning[row];
    table->scheme[row] = table->value[row] = table->meaning[row] = nullptr;
}

static int choose_row(Code_Seq *code, const char *table_name, Code_Table *table)
{
    Best_Rows best = {};
    find_best_rows(table, code->str, &best);
    if (best.count == 0) {
        report_no_match(code, table_name);
        return 0;
    }
    if (best.count > 1)
        report_tie(code, table_name, table, &best);
    take_row(code, table, best.row[0]);
    return 1;
}

static int look_up(Code_Seq *code, const char *table_name)
{
    if (strlen(code->str) >= SOUGHT_ROOM) {
        report_no_match(code, table_name);
        return 0;
    }
    char path[TABLE_PATH_ROOM];
    FILE *stream = open_table(table_name, path);
    if (stream == nullptr) {
        REPORT(hwnd, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 Unable to open table \x01%s", path);
        return 0;
    }
    Code_Table table = {};
    bool complete = read_rows(&table, stream);
    fclose(stream);
    int done = complete ? choose_row(code, table_name, &table) : 0;
    release_table(&table);
    return done;
}

/* ---- the entry that needs no table --------------------------------------------------------- */

static const char FIXED_TEXT[] = "Tc-99m";

static bool is_fixed_text(const char *text)
{
    char lower[sizeof FIXED_TEXT];
    if (strlen(text) != strlen(FIXED_TEXT))
        return false;
    memcpy(lower, text, sizeof lower);
    return strcmp(Str_To_Lower(lower), "tc-99m") == 0;
}

// All three texts or none: a record that cannot be filled stays as it was.
static int fill_fixed_entry(Code_Seq *code)
{
    char *scheme = ALLOC_STRDUP(hwnd, "code->coding_scheme", "99SDM");
    char *value = scheme != nullptr ? ALLOC_STRDUP(hwnd, "code->code_value", "C-163A8") : nullptr;
    char *meaning = value != nullptr ? ALLOC_STRDUP(hwnd, "code->code_meaning", "TC-99m") : nullptr;
    if (meaning == nullptr) {
        frame_free(value);
        frame_free(scheme);
        return 0;
    }
    code->coding_scheme = scheme;
    code->code_value = value;
    code->code_meaning = meaning;
    return 1;
}

/* ---- exported ------------------------------------------------------------------------------ */

int DICOM_Macro_CodeSequence_Set(Code_Seq *code, const char *table)
{
    const char *str = code != nullptr ? code->str : nullptr;
    REPORT(hwnd, LEVEL_OPERATION, "in Velm_DICOM_Get_CodeSequence(str:%s, table:%s)", shown(str), shown(table));
    current_code = nullptr;
    if (str == nullptr)
        return 0;
    int done = is_fixed_text(str) ? fill_fixed_entry(code) : look_up(code, shown(table));
    if (done)
        current_code = code;
    return done;
}

Code_Seq *DICOM_Macro_Code_Sequence_Get()
{
    return current_code;
}

void DICOM_Macro_Code_Sequence_Reset()
{
    current_code = nullptr;
}
