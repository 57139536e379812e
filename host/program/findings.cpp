// Findings from reports, as lines and as JSON.
#include "host/program/findings.h"

#include <stdio.h>
#include <string.h>
#include <iterator>
#include <string_view>

#include "host/program/json.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/tag_path.h"
#include "tree/Velmora_DICOM.h"

static const int64_t SHOWN_OF_A_KIND = 3;     // of the same attribute in one file
static const size_t KINDS_OF_A_FILE = 1000;   // what is in more is only counted
static const size_t MOST_KEPT = 100000;       // the same

// ---- kinds ----------------------------------------------------------------------------

struct Kind_Row {
    const char *text;   // in the report
    const char *kind;
};

// What stands first in a report counts, and of two rows that begin there the first: a report's own words stand in front
// of the values that it shows, which may be anything.
static constexpr Kind_Row kind_rows[] = {
    {"Retired from DICOM",         "retired"   },
    {"does not match definition",  "vr"        },
    {"Explicit VR=OX is invalid",  "vr"        },
    {"tags should be sorted",      "order"     },
    {"missing end of sequence",    "structure" },
    {"missing item tag",           "structure" },
    {"should be followed by",      "structure" },
    {"Variable length tag is not", "structure" },
    {"invalid padding char",       "padding"   },
    {" char in \"",                "characters"},
    {"Invalid character in data",  "characters"},
    {"String too long",            "length"    },
    {"last char is (=",            "backslash" },
    {"Old syntax",                 "old-form"  },
    {"Y2K bug",                    "old-form"  },
    {"number of values",           "values"    },
    {"Not enough values",          "values"    },
    {"To many values",             "values"    },
    {"Value out of range",         "range"     },
    {"Invalid data! Expecting VR", "characters"},
    {"Invalid data!",              "size"      },
    {"lenght is odd",              "odd-length"},
    {"required value for type",    "required"  },
    {" bug: ",                     "repaired"  },
};
static constexpr char OTHER_KIND[] = "stream";

static const char *kind_of(const char *report)
{
    const char *kind = OTHER_KIND, *first = nullptr;
    for (const Kind_Row &row : kind_rows) {
        const char *found = strstr(report, row.text);
        if (found != nullptr && (first == nullptr || found < first)) {
            first = found;
            kind = row.kind;
        }
    }
    return kind;
}

extern constexpr char finding_kinds[] = "stream structure order repaired odd-length vr retired padding characters length "
                                        "backslash old-form values range size required";

static constexpr bool has_kind(std::string_view kind)
{
    std::string_view words = finding_kinds;
    while (words.substr(0, words.find(' ')) != kind && words.find(' ') != words.npos)
        words.remove_prefix(words.find(' ') + 1);
    return words.substr(0, words.find(' ')) == kind;
}

static constexpr bool has_each_kind()
{
    for (const Kind_Row &row : kind_rows)
        if (!has_kind(row.kind))
            return false;
    return has_kind(OTHER_KIND);
}
static_assert(has_each_kind(), "a kind of findings is not among the words for them");

// ---- reports --------------------------------------------------------------------------

// The library sets off what differs from report to report by a pair of control bytes.
static std::string without_values(const char *report)
{
    std::string text;
    bool is_value = false;
    for (const char *at = report; *at != '\0'; at++) {
        if (*at == '\x01' || *at == '\x04') {
            is_value = true;
            text += '#';
        } else if (*at == '\x02') {
            is_value = false;
        } else if (!is_value) {
            text += *at;
        }
    }
    return mask_of(text);
}

// Takes "(0010,0010) " and "VR=PN " off the start of a text.
static void take_tag(Finding *finding)
{
    unsigned int group = 0, element = 0;
    std::string &text = finding->text;
    if (text.size() > 10 && text[0] == '(' && text[10] == ')' &&
        sscanf(text.c_str(), "(%4x,%4x)", &group, &element) == 2) {
        finding->has_tag = true;
        text.erase(0, 11);
    } else if (sscanf(text.c_str(), "%*[^(](%4x,%4x)", &group, &element) == 2) {
        finding->has_tag = true;   // inside the text, where it makes sense
    }
    finding->group = static_cast<unsigned short>(group);
    finding->element = static_cast<unsigned short>(element);
    text.erase(0, text.find_first_not_of(' '));
    if (text.compare(0, 3, "VR=") == 0 && text.size() > 6 && text[5] == ' ')
        text.erase(0, 6);
    text.erase(text.find_last_not_of(' ') + 1);
}

Finding finding_of(int level, const char *report)
{
    Finding finding;
    finding.is_warning = level != LEVEL_REMARKS;
    finding.kind = kind_of(report);
    finding.text = text_of_report(report);
    take_tag(&finding);
    finding.text = visible(finding.text);
    finding.mask = without_values(report);
    return finding;
}

std::string name_of_tag(unsigned short group, unsigned short element)
{
    if (element == 0)
        return "Group Length";
    const TAG_db_Elems *row = NEMA_db_Locate(group, element);
    return row != nullptr ? row->description : "";
}

// ---- lines ----------------------------------------------------------------------------

static std::string vr_of(const Finding &finding)
{
    if (finding.vr == 0)
        return "--";
    return {static_cast<char>(finding.vr >> 8), static_cast<char>(finding.vr & 0xFF)};
}

static std::string place_of(const Finding &finding)
{
    if (!finding.has_tag)
        return "";
    std::string text = finding.path.empty() ? "" : finding.path + "/";
    text += tag_text(finding.group, finding.element) + " " + visible(vr_of(finding));
    if (!finding.name.empty())
        text += " " + visible(finding.name);
    return text + ": ";
}

static std::string level_of(const Finding &finding)
{
    return finding.is_warning ? "warning" : "remark";
}

// The library shows values of any length. A finding that has to be seen whole is there with --verbose and in JSON.
static std::string shortened(const std::string &text)
{
    static const size_t LONGEST = 300, START = 200, END = 80;
    return text.size() <= LONGEST ? text : text.substr(0, START) + " ... " + text.substr(text.size() - END);
}

static std::string line_of(const std::string &file, const Finding &finding, bool is_whole)
{
    std::string text = visible(file) + ": ";
    if (finding.offset >= 0)
        text += "at " + std::to_string(finding.offset) + ": ";
    return text + place_of(finding) + level_of(finding) + ": " + (is_whole ? finding.text : shortened(finding.text)) +
           "\n";
}

// ---- JSON -----------------------------------------------------------------------------

static void put(Json *json, const char *key, const std::string &utf8)
{
    json->key(key);
    json->string(utf8);
}

static void write_json(const std::string &file, const Finding &finding)
{
    Json json(false);
    json.start_object();
    put(&json, "file", utf8_of(file));
    if (finding.offset >= 0) {
        json.key("offset");
        json.number(std::to_string(finding.offset));
    }
    if (finding.has_tag) {
        put(&json, "path", finding.path);
        put(&json, "tag", tag_text(finding.group, finding.element));
        put(&json, "vr", visible(vr_of(finding)));
        put(&json, "name", visible(finding.name));
    }
    put(&json, "level", level_of(finding));
    put(&json, "kind", finding.kind);
    put(&json, "text", finding.text);
    json.end_object();
    json.end_document();
}

void tell_unreadable_as_json(const std::string &file, const std::string &error)
{
    Json json(false);
    json.start_object();
    put(&json, "file", utf8_of(file));
    put(&json, "level", "error");
    put(&json, "kind", "unreadable");
    put(&json, "text", visible(error));
    json.end_object();
    json.end_document();
}

// ---- telling --------------------------------------------------------------------------

void Finding_Teller::add(const Finding &finding)
{
    (finding.is_warning ? warnings : remarks)++;
    if (form == FINDINGS_COUNTED)
        return;
    if (form == FINDINGS_KEPT) {
        if (kept.size() < MOST_KEPT)
            kept.push_back(finding);
        return;
    }
    if (form == FINDINGS_AS_JSON)
        return write_json(file, finding);
    if (shows_all)
        return write_out(line_of(file, finding, true));

    std::string mask = tag_text(finding.group, finding.element) + finding.mask;
    if (counts.size() == KINDS_OF_A_FILE && by_mask.count(mask) == 0) {
        others++;
        return;
    }
    auto [at, is_new] = by_mask.emplace(mask, counts.size());
    if (is_new) {
        counts.push_back(0);
        folded.kinds.push_back(
            {mask, "",
             "# files more: " + place_of(finding) + level_of(finding) + ": " + shortened(finding.text) + "\n"});
    }
    if (counts[at->second]++ < SHOWN_OF_A_KIND)
        folded.lines.push_back({at->second, line_of(file, finding, false)});
}

void Finding_Teller::finish()
{
    for (size_t i = 0; i < counts.size(); i++) {
        if (counts[i] <= SHOWN_OF_A_KIND)
            continue;
        const std::string &example = folded.kinds[i].example;
        std::string text = example.substr(strlen("# files more"));
        folded.lines.push_back(
            {i, visible(file) + ": " + std::to_string(counts[i] - SHOWN_OF_A_KIND) + " more" + text});
    }
    tell_folded(folded);
    if (others > 0)
        write_out(visible(file) + ": " + std::to_string(others) + " findings more; --verbose tells each\n");
}
