#include "tests/support/reports.h"

#include <gtest/gtest.h>
#include <ostream>

#include "frame/frame_internal.h"

void PrintTo(const Report &report, std::ostream *out)
{
    *out << report.level << ": \"";
    for (char c : report.text) {
        unsigned char byte = static_cast<unsigned char>(c);
        char shown[8];
        if (byte < 0x20 || byte >= 0x7F)
            snprintf(shown, sizeof shown, "\\x%02X", byte);
        else
            snprintf(shown, sizeof shown, "%c", c);
        *out << shown;
    }
    *out << '"';
}

static void take(void *user, HWND, int level, const char *text)
{
    static_cast<Reports *>(user)->all.push_back({level, text});
}

Reports::Reports(int threshold)
    : old_threshold(Error_Get_Threshold()), old_warning(Flag_Error_Warning), old_report(Flag_Error_Report)
{
    Flag_Error_Warning = WARNING;
    Flag_Error_Report = REMARK;
    Error_Set_Threshold(threshold);
    Error_Set_Sink(take, this);
}

Reports::~Reports()
{
    Error_Set_Sink(nullptr, nullptr);
    Error_Set_Threshold(old_threshold);
    Flag_Error_Warning = old_warning;
    Flag_Error_Report = old_report;
}

std::string Reports::texts(int level) const
{
    std::string out;
    for (const Report &report : all)
        if (report.level == level)
            out += report.text + "\n";
    return out;
}

std::string Reports::failures() const
{
    std::string out;
    for (const Report &report : all)
        if (report.level == LEVEL_MEMORY || report.level == LEVEL_FILE)
            out += without_line_number(report.text) + "\n";
    return out;
}

// "line 12   of SOURCE ..." at the start, or "... line:12" at the end.
std::string without_line_number(const std::string &text)
{
    static const char DIGITS[] = "0123456789";
    size_t of = text.rfind("line ", 0) == 0 ? text.find("of", text.find_first_not_of(DIGITS, 5)) : text.npos;
    if (of != text.npos && text.find_first_not_of(' ', text.find_first_not_of(DIGITS, 5)) == of)
        return "line N " + text.substr(of);
    size_t colon = text.rfind("line:");
    if (colon != text.npos && text.find_first_not_of(DIGITS, colon + 5) == text.npos)
        return text.substr(0, colon) + "line N of";
    return text;
}

static int refused_one = 0, asked_so_far = 0;
static bool has_refused = false;

static int decide()
{
    asked_so_far++;
    if (asked_so_far != refused_one)
        return 0;
    has_refused = true;
    return 1;
}

Refuse::Refuse(int n)
{
    refused_one = n;
    asked_so_far = 0;
    has_refused = false;
    frame_refuse_allocation = decide;
}

Refuse::~Refuse()
{
    frame_refuse_allocation = nullptr;
}

bool Refuse::happened()
{
    return has_refused;
}

int Refuse::asked()
{
    return asked_so_far;
}

void expect_each_failure(const std::string &source, const std::vector<std::string> &failures,
                         const std::function<bool()> &work)
{
    size_t runs = 0;
    refuse_each_allocation([&](int) {
        Reports said;
        bool refuses = runs < failures.size();
        EXPECT_EQ(work(), !refuses) << "refusing allocation " << runs + 1;
        std::string failure = refuses ? "line N of " + source + " \nmemory error in " + failures[runs] + "\n" : "";
        EXPECT_EQ(said.failures(), failure);
        runs++;
    });
    EXPECT_EQ(runs, failures.size() + 1);
}
