// What happens when memory runs out in a stage: what is reported, and what is left of the value.
#include "tests/cleanup_values.h"

struct Outcome {
    const char *failure;   // operation, variable, bytes
    int result;
    const char *left;      // null: no value
};
struct Shortage {
    const char *vr;
    Bytes value;
    std::vector<Outcome> outcomes;   // of refusing allocation 1, 2, ...; the run after them refuses none
};

static std::string failure_text(const char *source, const Outcome &outcome)
{
    char operation[16], variable[32];
    int bytes;
    sscanf(outcome.failure, "%15s %31s %d", operation, variable, &bytes);
    return "line N of " + std::string(source) + " \nmemory error in " + operation + " (var=" + variable +
           ", dim=" + std::to_string(bytes) + "x1)\n";
}

// refuse_each_allocation hands out numbers from 1; the last run is the one in which nothing was refused.
static void run(const Shortage &shortage, const char *source, int (*operation)(HWND, DICOM_List *))
{
    size_t runs = 0;
    refuse_each_allocation([&](int n) {
        runs++;
        Value value(shortage.vr, shortage.value);
        Reports said;
        int result = operation(nullptr, &value.tag);
        EXPECT_TRUE(value.tag.data != nullptr || value.tag.size == 0);
        size_t at = static_cast<size_t>(n) - 1;
        if (at >= shortage.outcomes.size())
            return;
        const Outcome &wanted = shortage.outcomes[at];
        SCOPED_TRACE(std::string(shortage.vr) + " refusing " + wanted.failure);
        EXPECT_EQ(said.failures(), failure_text(source, wanted));
        EXPECT_EQ(result, wanted.result);
        EXPECT_EQ(value.tag.data == nullptr, wanted.left == nullptr);
        EXPECT_EQ(readable(value.bytes()), wanted.left == nullptr ? "" : wanted.left);
    });
    EXPECT_EQ(runs, shortage.outcomes.size() + 1) << shortage.vr;
}

TEST(CleanupShortOfMemory, ReportsTheStageAndDropsWhatItCouldNotFinish)
{
    const Shortage shortages[] = {
        {"LO", "  abc  ", {{"realloc tag->data 5", 1, "abc "}, {"realloc tag->data 3", 1, "abc "},
                           {"realloc tag->data 4", 0, nullptr}, {"calloc new_data 8", 0, nullptr},
                           {"realloc new_data 3", 0, nullptr}, {"realloc tag->data 4", 0, nullptr}}},
        {"LO", Bytes("ab\0", 3), {{"calloc buf 4", 1, "ab"}, {"realloc tag->data 2", 1, "ab"},
                                  {"realloc tag->data 3", 0, nullptr}, {"calloc new_data 7", 0, nullptr},
                                  {"realloc new_data 2", 0, nullptr}}},
        {"CS", "Abc", {{"calloc buf 4", 1, "Abc "}, {"realloc tag->data 1", 1, "A "},
                       {"realloc tag->data 2", 0, nullptr}, {"calloc new_data 6", 0, nullptr},
                       {"realloc new_data 1", 0, nullptr}, {"realloc tag->data 2", 0, nullptr}}},
        {"LT", "abc", {{"realloc tag->data 4", 0, nullptr}, {"realloc tag->data 3", 0, nullptr},
                       {"realloc tag->data 4", 0, nullptr}}},
        {"AS", "7Y", {{"realloc tag->data 4", 0, nullptr}}}, {"DA", "991231", {{"realloc tag->data 8", 0, nullptr}}},
        {"TM", "12:30:45", {{"calloc new_time 7", 0, nullptr}, {"realloc tag->data 7", 0, nullptr},
                            {"calloc new_data 11", 0, nullptr}, {"realloc new_data 6", 0, nullptr}}},
        {"IS", "1.5\\26.", {{"malloc float_str 8", 0, nullptr}, {"calloc int_str 4", 0, nullptr},
                            {"realloc tag->data 5", 0, nullptr}, {"calloc new_data 9", 0, nullptr},
                            {"realloc new_data 4", 0, nullptr}}},
    };
    for (const Shortage &shortage : shortages)
        run(shortage, ".\\NEMA_Tag_Cleanup", DICOM_Attribute_Cleanup_Tag);
}

TEST(CheckShortOfMemory, ReportsTheStageAndLeavesTheValue)
{
    const Shortage shortages[] = {
        {"LO", "  abc  ", {{"calloc mom_tag.data 8", 0, "  abc  "}, {"calloc new_data 8", 0, "  abc  "}}},
        {"CS", "Abc", {{"calloc mom_tag.data 4", 0, "Abc"}, {"calloc buf 4", 1, "Abc"},
                       {"calloc new_data 8", 0, "Abc"}}},
        {"TM", "12:30:45", {{"calloc mom_tag.data 9", 0, "12:30:45"}, {"calloc new_time 7", 0, "12:30:45"}}},
        {"LT", "abc", {{"calloc mom_tag.data 4", 0, "abc"}}},
    };
    for (const Shortage &shortage : shortages)
        run(shortage, ".\\NEMA_Tag_Syntax", DICOM_Attribute_Syntax_Tag);
}
