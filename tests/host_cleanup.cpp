// Cleanup on real files, where there are any: a second run finds nothing to change, but for the values that the stages
// shorten step by step.
#include <gtest/gtest.h>
#include <map>

#include "host/velmora_host.h"
#include "tests/host_runs.h"
#include "tests/support/reports.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

struct Value {
    std::string place;   // path and tag
    unsigned short group, vr;
    int size;
    bool is_there;
    std::string bytes;
};

// All values of a tree in its order.
static void take_values(const DICOM_List *list, const std::string &path, std::vector<Value> *values)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        char tag[16];
        snprintf(tag, sizeof tag, "%04x,%04x", node->group, node->element);
        values->push_back({path + tag, node->group, node->vr_explicit != 0 ? node->vr_explicit : node->vr, node->size,
                           node->data != nullptr,
                           node->data != nullptr ? std::string(node->data, static_cast<size_t>(node->size)) : ""});
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            take_values(node->item[i], path + tag + "[" + std::to_string(i + 1) + "]/", values);
    }
}

static std::vector<Value> values_of(const Data_Set &set)
{
    std::vector<Value> values;
    take_values(set.tree, "", &values);
    return values;
}

static std::string without_pads(const std::string &text)
{
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

// Why a value may change once more; empty: it may not.
static const char *reason_to_change(const Value &before, const Value &after)
{
    bool is_long_text = before.vr == VR_LT || before.vr == VR_ST || before.vr == VR_UT;
    std::string text = without_pads(before.bytes);
    if (is_long_text && before.bytes.size() > after.bytes.size() &&
        before.bytes.compare(0, after.bytes.size(), after.bytes) == 0)
        return "a long text was left with several pads";
    if (!is_long_text && before.group % 2 == 0 && !text.empty() && text.back() == '\\')
        return "a text of an even group ended in another backslash";
    if (before.vr == VR_TM && before.bytes.size() > 2 && (before.bytes[2] == ':' || before.bytes[2] == '.'))
        return "the old form of a time showed only without what was in it";
    return "";
}

// Loads a file and fetches what the library left in the source, but for the largest values.
static bool load_whole(const std::string &file, Data_Set *set)
{
    std::string error;
    if (load_from_path(file.c_str(), Load_Options(), set, &error) != LOADED)
        return false;
    DICOM_Root root = {};
    DICOM_Postproc_Step_5(nullptr, &root, set->tree);
    return true;
}

TEST(CorpusCleanup, IsDoneAfterOneRun)
{
    std::map<std::string, int> reasons;
    int files = 0, changed = 0;
    for (const std::string &file : corpus_files()) {
        SCOPED_TRACE(file);
        Reports said;
        Data_Set set;
        if (load_whole(file, &set)) {
            files++;
            DICOM_Root root = {};
            std::vector<Value> before = values_of(set);
            DICOM_Attribute_Cleanup(nullptr, &root, set.tree);
            std::vector<Value> once = values_of(set);
            DICOM_Attribute_Cleanup(nullptr, &root, set.tree);
            std::vector<Value> twice = values_of(set);
            ASSERT_EQ(once.size(), before.size());
            ASSERT_EQ(once.size(), twice.size());
            for (size_t i = 0; i < once.size(); i++) {
                changed += before[i].bytes != once[i].bytes || before[i].is_there != once[i].is_there;
                if (once[i].bytes == twice[i].bytes && once[i].is_there == twice[i].is_there &&
                    once[i].size == twice[i].size)
                    continue;
                std::string reason = reason_to_change(once[i], twice[i]);
                EXPECT_NE(reason, "") << once[i].place << " [" << once[i].bytes << "] became [" << twice[i].bytes
                                      << "]";
                reasons[reason]++;
            }
        }
        release_data_set(&set);
    }
    if (files == 0)
        GTEST_SKIP() << "no corpus";
    std::cout << files << " files, " << changed << " values repaired\n";
    for (const auto &[reason, count] : reasons)
        std::cout << count << " changed once more: " << reason << "\n";
}
