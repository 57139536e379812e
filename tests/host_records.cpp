// Names, dates and times through the value records and back to DICOM form. What changes on the way has to be one of the
// repairs that are known here; the corpus test prints how often each happens in real files.
#include <gtest/gtest.h>
#include <math.h>
#include <functional>
#include <iostream>
#include <map>

#include "host/velmora_host.h"
#include "tests/support/checkout.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

// What a value became, and by which repairs. A change that no repair gives has UNEXPLAINED among them.
struct Change {
    std::string before, after;
    std::vector<std::string> repairs;
};

static const char UNEXPLAINED[] = "UNEXPLAINED";

static std::string joined(const std::vector<std::string> &parts, char between)
{
    std::string all;
    for (size_t i = 0; i < parts.size(); i++)
        all += (i > 0 ? std::string(1, between) : "") + parts[i];
    return all;
}

static std::vector<std::string> split(const std::string &text, char between)
{
    std::vector<std::string> parts(1);
    for (char c : text) {
        if (c == between)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

static std::string without_padding(std::string text)
{
    text = text.substr(0, text.find('\0'));
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

// ---- names ----------------------------------------------------------------------------

static std::string drop_parts(const std::string &name)
{
    std::vector<std::string> parts = split(name, '^');
    parts.resize(std::min<size_t>(parts.size(), 5));
    return joined(parts, '^');
}

static std::string change_parts(const std::string &name, const std::function<std::string(std::string)> &change)
{
    std::vector<std::string> parts = split(name, '^');
    for (std::string &part : parts)
        part = change(part);
    return joined(parts, '^');
}

static std::string strip_blanks(std::string part)
{
    part.erase(0, std::min(part.find_first_not_of(' '), part.size()));
    part.erase(part.find_last_not_of(' ') + 1);
    return part;
}

static std::string thin_blanks(std::string part)
{
    for (size_t i = 0; i + 1 < part.size(); i++)
        if (part[i] == ' ' && part[i + 1] == ' ')
            part.erase(i + 1, 1);
    return part;
}

static std::string drop_carets(std::string name)
{
    name.erase(name.find_last_not_of('^') + 1);
    return name;
}

static std::string drop_nameless(const std::string &name)
{
    std::vector<std::string> parts = split(name, '^');
    parts.resize(std::min<size_t>(parts.size(), 3));
    return joined(parts, '^').find_first_not_of('^') == std::string::npos ? "" : name;
}

struct Name_Repair {
    const char *what;
    std::string (*apply)(const std::string &name);
};

static const Name_Repair name_repairs[] = {
    {"parts behind the fifth are dropped", drop_parts},
    {"a part of more than 64 characters is cut",
     [](const std::string &name) { return change_parts(name, [](std::string part) { return part.substr(0, 64); }); }},
    {"blanks around a part are left out", [](const std::string &name) { return change_parts(name, strip_blanks); }},
    {"of two blanks one is left", [](const std::string &name) { return change_parts(name, thin_blanks); }},
    {"carets behind the last part are left out", [](const std::string &name) { return drop_carets(name); }},
    {"without family, given and middle name there is no name", drop_nameless},
};

static Change send_name(DICOM_List *node)
{
    Change change = {without_padding(std::string(node->data, static_cast<size_t>(node->size))), "", {}};
    Velmora_Name *names = NEMA_Value_Name(nullptr, node, 0);
    std::vector<std::string> rendered;
    for (int i = 0; names != nullptr && i < node->vm; i++) {
        char text[2048];
        Name_2_DICOM(&names[i], text);
        rendered.push_back(text);
    }
    change.after = joined(rendered, '\\');

    std::vector<std::string> values = split(change.before, '\\');
    for (const Name_Repair &repair : name_repairs) {
        std::vector<std::string> old = values;
        for (std::string &value : values)
            value = repair.apply(value);
        if (values != old)
            change.repairs.push_back(repair.what);
    }
    if (joined(values, '\\') != change.after)
        change.repairs.push_back(UNEXPLAINED);
    return change;
}

// ---- dates ----------------------------------------------------------------------------

static bool is_all_digits(const std::string &text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

static int number_at(const std::string &text, size_t at, size_t count)
{
    return atoi(text.substr(std::min(at, text.size()), count).c_str());
}

// What becomes of eight digits; the repair, if one is made, is told.
static std::string repair_date(std::string date, std::vector<std::string> *repairs)
{
    int year = number_at(date, 0, 4), month = number_at(date, 4, 2), day = number_at(date, 6, 2);
    if (year == 0 && month == 0 && day == 0) {
        repairs->push_back("a date of zeros is no date");
        return "";
    }
    if (year < 100) {
        repairs->push_back("a year below 100 gets its century");
        year += year < 10 ? 2000 : 1900;
        date = std::to_string(year) + date.substr(4);
    }
    if (month > 12 && day <= 12) {
        repairs->push_back("day and month change places");
        std::swap(month, day);
        date = date.substr(0, 4) + date.substr(6, 2) + date.substr(4, 2);
    }
    if (day < 1 || day > 31 || month < 1 || month > 12 || year < 1801 || year > 2050) {
        repairs->push_back("a date that cannot be is no date");
        return "";
    }
    return date;
}

// The forms of a DA (DICOM PS3.5, 6.2): of today, of ACR-NEMA, and of its beginnings.
static std::string expected_date(const std::string &value, std::vector<std::string> *repairs)
{
    std::string date = value;
    if (value.size() == 10 && value[4] == '.' && value[7] == '.') {
        repairs->push_back("points between the fields are left out");
        date = value.substr(0, 4) + value.substr(5, 2) + value.substr(8, 2);
    } else if (value.size() == 6 && is_all_digits(value)) {
        repairs->push_back("a year of two digits gets its century");
        date = (number_at(value, 0, 2) < 10 ? "20" : "19") + value;
    }
    if (date.size() == 8 && is_all_digits(date))
        return repair_date(date, repairs);
    if (without_padding(value) != "")
        repairs->push_back("a text that has not the form of a date is no date");
    return "";
}

// The record as text. Dates of birth are old ones, so the check of the year is the wide one.
static std::string rendered_date(Velmora_Date *date)
{
    if (date == nullptr)
        return "";
    Velm_Date_Postproc(date, 1);
    return Time_2_DICOM(date, nullptr);
}

static Change send_date(DICOM_List *node)
{
    std::string value(node->data, static_cast<size_t>(node->size));
    Change change = {without_padding(value), rendered_date(NEMA_Value_Date(nullptr, node, 0)), {}};
    if (expected_date(value, &change.repairs) != change.after)
        change.repairs.push_back(UNEXPLAINED);
    return change;
}

// ---- times ----------------------------------------------------------------------------

struct Clock {
    bool is_time = false;
    double seconds = 0;     // of the day
    std::string fraction;   // its digits
};

// HHMMSS.FFFFFF with as many of its fields as there are.
static Clock read_clock(const std::string &text)
{
    Clock clock;
    size_t point = text.find('.');
    std::string whole = text.substr(0, point);
    if (point != std::string::npos)
        clock.fraction = text.substr(point + 1);
    clock.is_time = is_all_digits(whole) && whole.size() >= 2 && whole.size() <= 6 && whole.size() % 2 == 0 &&
                    (clock.fraction.empty() || is_all_digits(clock.fraction));
    clock.seconds = number_at(whole, 0, 2) * 3600 + number_at(whole, 2, 2) * 60 + number_at(whole, 4, 2) +
                    atof(("0." + clock.fraction).c_str());
    return clock;
}

// Whether a rendered time is the one that was given, told by its numbers; and what is different in its form.
static void explain_time(const std::string &given, const std::string &rendered, std::vector<std::string> *repairs)
{
    if (given == rendered)
        return;
    Clock mine = read_clock(given), yours = read_clock(rendered);
    double difference = fabs(fmod(mine.seconds, 86400) - yours.seconds);
    bool is_left_out = !mine.fraction.empty() && yours.fraction.empty();
    bool same = mine.is_time && yours.is_time && difference < (is_left_out ? 0.001 : 0.00001);
    if (!same)
        return repairs->push_back(UNEXPLAINED);
    if (given.substr(0, given.find('.')).size() < 6)
        repairs->push_back("minutes and seconds that are not given are written as 00");
    if (is_left_out)
        repairs->push_back("a fraction below a thousandth, or next to a whole second, is left out");
    else if (mine.fraction != yours.fraction)
        repairs->push_back("a fraction gets the six digits of a 32-bit number");
}

// Hours, minutes and seconds as numbers wherever they should stand.
static std::string read_at_places(const std::string &text)
{
    char digits[40];
    int hour = number_at(text, 0, 2), minute = number_at(text, 2, 2), second = number_at(text, 4, 2);
    snprintf(digits, sizeof digits, "%02d%02d%02d", hour, minute, second);
    return text.size() < 2 ? "" : digits;
}

static Change send_time(DICOM_List *node)
{
    std::string value(node->data, static_cast<size_t>(node->size));
    Velmora_Time *time = NEMA_Value_Time(nullptr, node, 0);
    Change change = {without_padding(value), time != nullptr ? Time_2_DICOM(nullptr, time) : "", {}};
    std::string given = change.before;
    if (given.find('\\') != std::string::npos) {
        change.repairs.push_back("of several times the first one is kept");
        given = given.substr(0, given.find('\\'));
    }
    if (given.find_first_not_of("0 ", 10) != std::string::npos)
        change.repairs.push_back("what stands behind the tenth character is lost");
    given = given.substr(0, 10);
    if (given.size() > 2 && given[2] == ':') {
        change.repairs.push_back("colons are left out");
        given.erase(std::remove(given.begin(), given.end(), ':'), given.end());
    }
    if (!read_clock(given).is_time && change.after == read_at_places(given))
        change.repairs.push_back("a text that has not the form of a time is read at the places of one");
    else
        explain_time(given, change.after, &change.repairs);
    return change;
}

// ---- dates with times -----------------------------------------------------------------

// Takes the offset from UTC, "&ZZXX", off a time. Where the time has its full length, it is added to hours and minutes,
// each by itself.
static std::string take_offset(std::string *time, std::vector<std::string> *repairs)
{
    const size_t FULL = 13;
    size_t sign = time->find_first_of("+-");
    int hour = number_at(*time, 0, 2), minute = number_at(*time, 2, 2);
    if (sign == FULL) {
        int turn = (*time)[sign] == '-' ? -1 : 1;
        hour += turn * number_at(*time, FULL + 1, 2);
        minute += turn * number_at(*time, FULL + 3, 2);
        repairs->push_back("the offset is added to the time, without a carry");
    } else if (sign != std::string::npos) {
        repairs->push_back("the offset of a time without a whole fraction is dropped");
    }
    *time = time->substr(0, sign);
    char start[16];
    snprintf(start, sizeof start, "%02d%02d", static_cast<unsigned char>(hour), static_cast<unsigned char>(minute));
    return start;
}

static void explain_date_time(std::string given, const std::string &rendered, std::vector<std::string> *repairs)
{
    if (given.empty() && rendered == "000000")
        return repairs->push_back("a time that is not given is written as 000000");
    std::string start = take_offset(&given, repairs);
    if (rendered.compare(0, start.size(), start) != 0)
        return repairs->push_back(UNEXPLAINED);
    std::string rest = given.size() > 4 ? given.substr(4) : "";
    explain_time("0000" + rest, "0000" + rendered.substr(start.size()), repairs);
}

static Change send_date_time(DICOM_List *node)
{
    std::string value(node->data, static_cast<size_t>(node->size));
    Change change = {without_padding(value), rendered_date(NEMA_Value_Date(nullptr, node, 0)), {}};
    if (expected_date(change.before.substr(0, 8), &change.repairs) != change.after)
        change.repairs.push_back(UNEXPLAINED);
    Velmora_Time *time = NEMA_Value_Time(nullptr, node, 0);
    std::string rendered = time != nullptr ? Time_2_DICOM(nullptr, time) : "";
    change.after += rendered;
    if (change.before.size() >= 8)
        explain_date_time(change.before.substr(8), rendered, &change.repairs);
    else if (rendered != "")
        change.repairs.push_back(UNEXPLAINED);
    return change;
}

// ---- the values of a tree -------------------------------------------------------------

struct Record_Kind_Row {
    unsigned short vr;
    const char *name;
    Change (*send)(DICOM_List *node);
};

static const Record_Kind_Row record_kinds[] = {
    {VR_PN, "PN", send_name},
    {VR_DA, "DA", send_date},
    {VR_TM, "TM", send_time},
    {VR_DT, "DT", send_date_time},
};

struct Count {
    int values = 0;
    std::string example;
};

typedef std::map<std::string, Count> Counts;   // by VR and repair

static void count_change(const char *vr, const Change &change, Counts *counts)
{
    (*counts)[std::string(vr) + ", all"].values++;
    if (change.before == change.after)
        (*counts)[std::string(vr) + ", as it was"].values++;
    for (const std::string &repair : change.repairs) {
        if (change.before == change.after && repair != UNEXPLAINED)
            continue;
        Count &count = (*counts)[std::string(vr) + ": " + repair];
        if (count.values++ == 0)
            count.example = "'" + change.before.substr(0, 80) + "' -> '" + change.after.substr(0, 80) + "'";
    }
}

static void send_chain(DICOM_List *list, Counts *counts)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        unsigned short vr = node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
        for (const Record_Kind_Row &kind : record_kinds)
            if (kind.vr == vr && node->data != nullptr && node->size > 0)
                count_change(kind.name, kind.send(node), counts);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            send_chain(node->item[i], counts);
    }
}

// ---- tests ----------------------------------------------------------------------------

struct Record_Row {
    const char *vr, *before, *after, *repairs;
};

// clang-format off
static const Record_Row record_rows[] = {
    {"PN", "Doe^John^Q^Dr^Jr", "Doe^John^Q^Dr^Jr", ""},
    {"PN", "Doe^John^^^ ", "Doe^John", "carets behind the last part are left out"},
    {"PN", "Doe ^ John\\Roe", "Doe^John\\Roe", "blanks around a part are left out"},
    {"PN", "de   la Roe", "de  la Roe", "of two blanks one is left"},
    {"PN", "a^b^c^d^e^f", "a^b^c^d^e", "parts behind the fifth are dropped"},
    {"PN", "^^^Dr", "", "without family, given and middle name there is no name"},
    {"DA", "20040512", "20040512", ""},
    {"DA", "040512", "20040512", "a year of two digits gets its century"},
    {"DA", "490512", "19490512", "a year of two digits gets its century"},
    {"DA", "2004.05.12", "20040512", "points between the fields are left out"},
    {"DA", "00950724", "19950724", "a year below 100 gets its century"},
    {"DA", "20041305", "20040513", "day and month change places"},
    {"DA", "00000000", "", "a date of zeros is no date"},
    {"DA", "20041399", "", "a date that cannot be is no date"},
    {"DA", "20040512\\20040513", "", "a text that has not the form of a date is no date"},
    {"TM", "101500", "101500", ""},
    {"TM", "10", "100000", "minutes and seconds that are not given are written as 00"},
    {"TM", "10:15:07", "101507", "colons are left out"},
    {"TM", "101507.25", "101507.250000", "a fraction gets the six digits of a 32-bit number"},
    {"TM", "101507.123456", "101507.123000",
     "what stands behind the tenth character is lost|a fraction gets the six digits of a 32-bit number"},
    {"TM", "101507.000000", "101507", "a fraction below a thousandth, or next to a whole second, is left out"},
    {"TM", "101500\\111500", "101500", "of several times the first one is kept"},
    {"TM", "x:100000", "001000", "a text that has not the form of a time is read at the places of one"},
    {"DT", "20040512101507", "20040512101507", ""},
    {"DT", "20040512", "20040512000000", "a time that is not given is written as 000000"},
    {"DT", "20040512101507.500000+0130", "20040512114507.500000", "the offset is added to the time, without a carry"},
    {"DT", "20040512101507.500000-1130", "2004051225524107.500000",
     "the offset is added to the time, without a carry"},
    {"DT", "20040512101507+0130", "20040512101507", "the offset of a time without a whole fraction is dropped"},
};
// clang-format on

TEST(Records, GiveBackWhatTheyWereMadeOf)
{
    Reports said;
    for (const Record_Row &row : record_rows) {
        DICOM_List *node = new_node({0x0010, 0x0010}, row.vr, row.before);
        for (const Record_Kind_Row &kind : record_kinds) {
            if (row.vr != std::string(kind.name))
                continue;
            Change change = kind.send(node);
            EXPECT_EQ(change.after, row.after) << row.before;
            EXPECT_EQ(joined(change.repairs, '|'), row.repairs) << row.before;
        }
        DICOM_Attribute_Free(nullptr, node);
    }
}

TEST(CorpusRecords, ChangeByRepairsAlone)
{
    Counts counts;
    Reports said;
    for (const std::string &file : corpus_files()) {
        Data_Set set;
        std::string error;
        if (load_from_path(file.c_str(), Load_Options(), &set, &error) == LOADED)
            send_chain(set.tree, &counts);
        release_data_set(&set);
    }
    if (counts.empty())
        GTEST_SKIP() << "no corpus";
    for (const auto &[what, count] : counts) {
        std::cout << count.values << "\t" << what << "\t" << count.example << "\n";
        EXPECT_EQ(what.find(UNEXPLAINED), std::string::npos) << count.example;
    }
}
