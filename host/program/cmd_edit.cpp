// velmora edit: attributes set and deleted.
#include <stdlib.h>
#include <string.h>
#include <new>

#include "host/program/element_values.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/selection.h"
#include "host/program/tag_path.h"
#include "host/program/writing.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

// clang-format off
static const char HELP[] =
    "  -t, --set TAG=VALUE give this attribute a value; it is made if it is not there. TAG:VR=VALUE says its VR\n"
    "  -d, --delete TAG    take this attribute out\n"
    "  -a, --all           a TAG to delete that has no path is meant at any depth, else at the top\n"
    WRITING_HELP
    "\n"
    "Both may be given several times; deletions are made first. TAG is 0010,0010, a name or keyword of the dictionary, and\n"
    "may have a path in front: 0040,a730[2]/0008,0104; what is to be deleted may have wildcards. In a VALUE, backslashes\n"
    "part the values; numbers are decimal, tags are 0010,0010. What is no value of the VR is refused.\n"
    "IN is a file, a folder with all that is in it, or - for standard input. OUT is a file, - for standard output, or a\n"
    "folder, which several files go to.\n"
    "\n"
    "Examples:\n"
    "  velmora edit --set 'PatientName=Doe^Jane' --delete 0010,1040 old.dcm new.dcm\n"
    "  velmora edit --in-place --all --delete '0009,*' image.dcm\n"
    "  velmora edit --set '0040,a730[1]/0008,0104=Finding' report.dcm out.dcm\n";
// clang-format on

struct Assignment {
    Tag_Path path;
    unsigned short vr;   // VR_NONE: that of the attribute or of the dictionary
    std::string value;
};

struct Edit {
    Writing writing;
    std::vector<Assignment> sets;
    std::vector<Tag_Path> deletions;
    bool everywhere = false;
};

// ---- deleting -------------------------------------------------------------------------

// At most nine levels deep, as the tree is.
static void mark_deleted(DICOM_List *list, const std::vector<Progress> &here)
{
    for (DICOM_List *node = list; node != nullptr && !here.empty(); node = node->next) {
        Selection selection = select_node(node, here);
        if (selection.is_whole)
            node->flag |= FLAG_INVALID;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr && !selection.is_whole; i++) {
            bool is_whole = false;
            mark_deleted(node->item[i], enter_item(selection.inside, i + 1, &is_whole));
        }
    }
}

static bool delete_attributes(Data_Set *set, void *user, std::string *)
{
    const Edit *edit = static_cast<const Edit *>(user);
    mark_deleted(set->tree, start_selection(edit->deletions, edit->everywhere));
    DICOM_Attribute_Remove(nullptr, &set->tree, 0);
    close_gaps(set->tree);
    return true;
}

// ---- values ---------------------------------------------------------------------------

static std::vector<std::string> split(const std::string &text)
{
    std::vector<std::string> parts;
    for (size_t start = 0; start <= text.size();) {
        size_t end = text.find('\\', start);
        end = end == std::string::npos ? text.size() : end;
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

static void append_little(std::string *to, uint64_t bits, int size)
{
    for (int i = 0; i < size; i++)
        to->push_back(static_cast<char>(bits >> 8 * i & 0xFF));
}

static bool append_real(const std::string &text, int size, std::string *to)
{
    char *end = nullptr;
    double number = strtod(text.c_str(), &end);
    float single = static_cast<float>(number);
    uint64_t bits = 0;
    uint32_t single_bits = 0;
    memcpy(&bits, &number, sizeof bits);
    memcpy(&single_bits, &single, sizeof single_bits);
    append_little(to, size == 8 ? bits : single_bits, size);
    return !text.empty() && *end == '\0';
}

static bool append_integer(const std::string &text, int size, bool is_signed, std::string *to)
{
    char *end = nullptr;
    long long number = strtoll(text.c_str(), &end, 10);
    long long most = is_signed ? (1LL << (8 * size - 1)) - 1 : (1LL << 8 * size) - 1;
    long long least = is_signed ? -most - 1 : 0;
    append_little(to, static_cast<uint64_t>(number), size);
    return !text.empty() && *end == '\0' && number >= least && number <= most;
}

static bool append_tag(const std::string &text, std::string *to)
{
    Tag_Path path;
    std::string error;
    if (!parse_tag_path(text, &path, &error) || path.steps.size() != 1 || !path.steps[0].is_exact)
        return false;
    append_little(to, path.steps[0].group, 2);
    append_little(to, path.steps[0].element, 2);
    return true;
}

// The bytes of a value, little endian. False: it is none of this VR.
static bool make_value(unsigned short vr, const std::string &text, std::string *bytes)
{
    static const struct {
        unsigned short vr;
        int size;
        bool is_signed, is_real;
    } numbers[] = {
        {VR_US, 2, false, false},
        {VR_SS, 2, true,  false},
        {VR_UL, 4, false, false},
        {VR_SL, 4, true,  false},
        {VR_FL, 4, true,  true },
        {VR_FD, 8, true,  true },
    };
    if (text.empty())
        return true;
    for (const auto &row : numbers) {
        if (row.vr != vr)
            continue;
        for (const std::string &part : split(text))
            if (!(row.is_real ? append_real(part, row.size, bytes)
                              : append_integer(part, row.size, row.is_signed, bytes)))
                return false;
        return true;
    }
    if (vr == VR_AT) {
        for (const std::string &part : split(text))
            if (!append_tag(part, bytes))
                return false;
        return true;
    }
    Value_Class kind = value_rule(vr).kind;
    *bytes = text;
    return kind == VALUES_OF_TEXT || kind == VALUES_OF_NAMES || kind == VALUES_OF_DECIMALS;
}

// ---- setting --------------------------------------------------------------------------

struct Setting {
    Data_Set *set;
    const Assignment *what;
    DICOM_Root root;
    std::string error;
};

static bool fail(Setting *setting, const std::string &error)
{
    setting->error = error;
    return false;
}

static unsigned short vr_for(const Setting &setting, const DICOM_List *node, const Tag_Step &step)
{
    if (setting.what->vr != VR_NONE)
        return setting.what->vr;
    if (node != nullptr)
        return node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
    const TAG_db_Elems *row = NEMA_db_Locate(step.group, step.element);
    return row != nullptr ? row->vr[0] : static_cast<unsigned short>(VR_NONE);
}

// Texts that are more than ASCII are taken as they are where the data set is in UTF-8.
static bool fits_charset(const Setting &setting, const std::string &text)
{
    DICOM_List *node = setting.set->tree;
    while (node != nullptr && (node->group != 0x0008 || node->element != 0x0005))
        node = node->next;
    bool is_utf8 = node != nullptr && node->data != nullptr &&
                   std::string(node->data, static_cast<size_t>(node->size)).rfind("ISO_IR 192", 0) == 0;
    return is_utf8 || is_plain_text(text.data(), text.size());
}

// The node at the cursor, which is made if it is not there.
static DICOM_List *find_or_add(Setting *setting, const Tag_Step &step, unsigned short vr)
{
    DICOM_Attribute_Add(nullptr, &setting->root, &setting->set->tree, step.group, step.element, vr, 0);
    return DICOM_Attribute_Get(nullptr, &setting->root, setting->set->tree, step.group, step.element, 0);
}

static bool set_value(Setting *setting, DICOM_List *chain, const Tag_Step &step)
{
    DICOM_List *node = chain;
    while (node != nullptr && (node->group != step.group || node->element != step.element))
        node = node->next;
    unsigned short vr = vr_for(*setting, node, step);
    std::string bytes;
    if (vr == VR_NONE || vr == VR_RT)
        return fail(setting, "has no VR that is known; TAG:VR=VALUE says it");
    if (!make_value(vr, setting->what->value, &bytes))
        return fail(setting, "cannot have the value " + quoted(setting->what->value));
    if (!fits_charset(*setting, setting->what->value))
        return fail(setting,
                    "cannot have a value that is more than ASCII, unless Specific Character Set is ISO_IR 192");
    if (node == nullptr)
        node = find_or_add(setting, step, vr);
    if (node == nullptr || node->item != nullptr)
        return fail(setting, node == nullptr ? "cannot be made: not enough memory" : "is a sequence");
    DICOM_Lib_Free(&node->data);
    if (!bytes.empty() && !DICOM_Lib_Realloc(&node->data, static_cast<unsigned int>(bytes.size())))
        throw std::bad_alloc();
    if (!bytes.empty())
        memcpy(node->data, bytes.data(), bytes.size());
    node->size = static_cast<int>(bytes.size());
    node->vr_explicit = vr;
    node->flag = ORIGIN_VELM;
    node->syntax = SYNTAX_EXPLICIT;
    size_t characters = setting->what->value.size();
    DICOM_Attribute_Cleanup_Tag(nullptr, node);
    bool is_bad = (node->flag & (FLAG_INVALID | FLAG_SYNTAX_ERROR)) != 0 || (characters > 0 && node->size == 0);
    return !is_bad || fail(setting, "cannot have the value " + quoted(setting->what->value));
}

static bool set_along(Setting *setting, DICOM_List *chain, size_t at)
{
    const std::vector<Tag_Step> &steps = setting->what->path.steps;
    const Tag_Step &step = steps[at];
    if (at + 1 == steps.size())
        return set_value(setting, chain, step);
    DICOM_List *node = chain;
    while (node != nullptr && (node->group != step.group || node->element != step.element))
        node = node->next;
    if (node == nullptr)
        node = find_or_add(setting, step, VR_SQ);
    int count = 0;
    while (node != nullptr && count < node->nb_item && node->item[count] != nullptr)
        count++;
    int first = step.item > 0 ? step.item : 1, last = step.item > 0 ? step.item : count > 0 ? count : 1;
    bool is_deep = setting->root.Sequence_Depth >= MAX_SEQUENCE_DEPTH;
    if (node == nullptr || is_deep || last > count + 1)
        return fail(setting, is_deep ? "lies below the ninth level of sequences"
                                     : "cannot be set: the sequence has " + std::to_string(count) + " items");
    DICOM_Attribute_Sequence_Start(nullptr, &setting->root, step.group, step.element, node->flag, 15);
    bool done = true;
    for (int i = 1; i <= last && done; i++) {
        DICOM_Attribute_Item_Start(nullptr, &setting->root, 15);
        if (i >= first)
            done = set_along(setting, i <= count ? node->item[i - 1] : nullptr, at + 1);
        DICOM_Attribute_Item_Stop(nullptr, &setting->root, 15);
    }
    DICOM_Attribute_Sequence_Stop(nullptr, &setting->root, 15);
    return done;
}

// ---- the command ----------------------------------------------------------------------

static std::string last_tag(const Assignment &what)
{
    const Tag_Step &step = what.path.steps.back();
    return tag_text(step.group, step.element);
}

static Change edit_set(Data_Set *set, const std::string &name, Save_Options *save, Tally *, void *user)
{
    Edit *edit = static_cast<Edit *>(user);
    if (!edit->deletions.empty()) {
        delete_attributes(set, edit, nullptr);
        if (edit->everywhere) {
            save->change = delete_attributes;
            save->user = edit;
        }
    }
    for (const Assignment &what : edit->sets) {
        Setting setting = {set, &what, {}, ""};
        if (!set_along(&setting, set->tree, 0)) {
            complain_about(name, "is not changed: " + last_tag(what) + " " + setting.error);
            return CHANGE_FAILED;
        }
    }
    close_gaps(set->tree);
    return CHANGED;
}

static int take_set(const char *text, Edit *edit)
{
    std::string whole = text, error;
    size_t equals = whole.find('=');
    if (equals == std::string::npos)
        return wrong_use(command_edit, "--set takes TAG=VALUE, not %s", quoted(whole).c_str());
    Assignment what = {{}, VR_NONE, whole.substr(equals + 1)};
    std::string tag = whole.substr(0, equals);
    if (tag.size() > 3 && tag[tag.size() - 3] == ':') {
        what.vr = pack_letters(tag[tag.size() - 2], tag[tag.size() - 1]);
        tag.erase(tag.size() - 3);
    }
    if (!parse_tag_path(tag, &what.path, &error))
        return wrong_use(command_edit, "%s", error.c_str());
    for (const Tag_Step &step : what.path.steps)
        if (!step.is_exact || step.group == GROUP_FILE_META || (&step == &what.path.steps.back() && step.item != 0))
            return wrong_use(command_edit, "%s cannot be set", quoted(tag).c_str());
    edit->sets.push_back(what);
    return STATUS_DONE;
}

static int take_deletion(const char *text, Edit *edit)
{
    Tag_Path path;
    std::string error;
    if (!parse_tag_path(text, &path, &error))
        return wrong_use(command_edit, "%s", error.c_str());
    if (path.steps.back().item != 0)
        return wrong_use(command_edit, "%s is an item, which cannot be deleted", quoted(text).c_str());
    edit->deletions.push_back(path);
    return STATUS_DONE;
}

static const option LONGS[] = {
    {"set",    required_argument, nullptr, 't'},
    {"delete", required_argument, nullptr, 'd'},
    {"all",    no_argument,       nullptr, 'a'},
    WRITING_LONGS,
    {nullptr,  0,                 nullptr, 0  },
};

static int run_edit(int argc, char **argv)
{
    Edit edit;
    edit.writing.command = &command_edit;
    edit.writing.change = edit_set;
    edit.writing.user = &edit;
    int status = STATUS_DONE;
    for (int letter;
         (letter = next_option(command_edit, argc, argv, "t:d:a" WRITING_SHORTS, LONGS, &status)) != OPTION_END;) {
        if (letter == OPTION_STOP)
            return status;
        if (letter == 't')
            status = take_set(optarg, &edit);
        else if (letter == 'd')
            status = take_deletion(optarg, &edit);
        else if (letter == 'a')
            edit.everywhere = true;
        else
            take_writing_option(letter, &edit.writing, &status);
        if (status != STATUS_DONE)
            return status;
    }
    if (edit.sets.empty() && edit.deletions.empty())
        return wrong_use(command_edit, "nothing is said to be set or deleted");
    Tally total;
    return run_writing(&edit.writing, argc, argv, &total);
}

extern const Command command_edit = {
    "edit", "edit [OPTIONS] IN... OUT", "Sets and deletes attributes", HELP, run_edit,
};
