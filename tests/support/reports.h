// Takes what the library reports while it lives, and refuses allocations on demand.
#ifndef VELMORA_TESTS_REPORTS_H
#define VELMORA_TESTS_REPORTS_H

#include <functional>
#include <string>
#include <vector>

#include "tree/Velmora_DICOM.h"

struct Report {
    int level;
    std::string text;
    bool operator==(const Report &other) const = default;
};
void PrintTo(const Report &report, std::ostream *out);   // control bytes shown as \x05

// Captures every report up to a level; sets Flag_Error_Warning and Flag_Error_Report to levels of their own (WARNING,
// REMARK), so that a test can tell them apart. Everything is put back at the end of its life.
struct Reports {
    enum { WARNING = 5, REMARK = 6 };

    explicit Reports(int threshold = 10);
    ~Reports();
    Reports(const Reports &) = delete;

    std::string texts(int level) const;             // the texts of one level, each followed by a line feed
    std::string warnings() const { return texts(WARNING); }
    std::string remarks() const { return texts(REMARK); }
    std::string failures() const;                   // levels 1 and 2, without the line numbers of the source

    std::vector<Report> all;

private:
    int old_threshold, old_warning, old_report;
};

// A text with its source line number ("line 123  of") replaced by "line N of".
std::string without_line_number(const std::string &text);

// Refuses the n-th allocation from now on, counted from 1, while it lives. Zero refuses none and only counts.
struct Refuse {
    explicit Refuse(int n);
    ~Refuse();
    Refuse(const Refuse &) = delete;
    static bool happened();   // was an allocation refused?
    static int asked();       // allocations asked for so far
};

// Runs work with allocation 1, 2, 3, ... refused, until a run in which none was. work takes the number refused.
template <class Work>
void refuse_each_allocation(Work work)
{
    for (int n = 1; n < 100000; n++) {
        bool refused;
        {
            Refuse refuse(n);
            work(n);
            refused = Refuse::happened();
        }
        if (!refused)
            return;
    }
}

// Runs work with each allocation refused in turn: work then gives false and reports just the failure that stands for it
// ("malloc (var=buf, dim=4x1)"). With none refused it gives true; there are as many allocations as failures.
void expect_each_failure(const std::string &source, const std::vector<std::string> &failures,
                         const std::function<bool()> &work);

#endif
