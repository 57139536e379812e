// Person names: built from fields and from free text, copied, compared, printed.
#include <gtest/gtest.h>

#include "tests/support/reports.h"
#include "values/DICOM_Values.h"

// "family|given|middle|prefix|suffix count", an absent field as nothing.
static std::string outline(const Velmora_Name &name)
{
    std::string out;
    for (const char *field : {name.family, name.given, name.middle, name.prefix, name.suffix})
        out += std::string(field != nullptr ? field : "") + "|";
    out.back() = ' ';
    return out + std::to_string(name.count);
}

static std::string parsed(const std::string &text, int order = 1)
{
    Velmora_Name name = {};
    EXPECT_EQ(Make_Velm_Name_From_Str(&name, text.c_str(), order), 1);
    std::string out = outline(name);
    Name_Free(&name);
    return out;
}

TEST(Name, IsGuessedFromFreeText)
{
    struct { const char *text; int order; const char *fields; } cases[] = {
        {"Smith^John^Q^Dr^Jr", 1, "Smith|John|Q|Dr|Jr 3"}, {"  Smith^ John ^^ Dr ^", 1, "Smith|John||Dr| 2"},
        {"^John", 1, "|John||| 1"}, {"Smith^J.R.", 1, "Smith|J.R.||| 2"},
        {"Smith^a, b", 1, "Smith|a,|b|| 3"}, {"John Smith", 3, "Smith|John||| 2"},
        {"Smith, John", 1, "Smith|John||| 2"}, {"Smith, John", 3, "John|Smith||| 2"},
        {"Smith, J.R.", 1, "Smith|J.|R.|| 3"}, {"Smith, John Q", 1, "Smith|John|Q|| 3"},
        {"Smith^John Q", 1, "Smith|John|Q|| 3"}, {"John Q Public", 1, "John|Public|Q|| 3"},
        {"John Q Public", 3, "Public|John|Q|| 3"}, {"Q John Public", 1, "John|Q Public||| 2"},
        {"John Public Q", 1, "John|Public|Q|| 3"}, {"J.Q.Public", 1, "J.Q.Public|||| 1"},
        {"J.Q. Public", 1, "J.|Q. Public||| 2"}, {"Ann B Cat Dan Eve", 1, "Ann|Cat Dan Eve|B|| 3"},
        {"Dr John Smith", 1, "John|Smith||Dr| 2"}, {"Dr John Q Public", 1, "John|Public|Q|Dr| 3"},
        {"Dr. Dr. Smith", 1, "|Smith||Dr| 1"}, {"Dre Smith", 1, "Smith|||Dre| 1"},
        {"Dr.Smith", 1, "Smith|||Dr| 1"}, {"Dr., Smith", 1, "|Smith||Dr| 1"},
        {"DR.Smith^John^^Prof", 1, "Smith|John||DR| 2"}, {"Dr.", 1, "|||Dr| 0"},
        {"Smith Jr.", 1, "Smith|Jr.||| 2"}, {"Ann    Bea", 1, "Ann|Bea||| 2"},
        {"Smith^John    Bea", 1, "Smith|John  Bea||| 2"}, {"Ann Bea Cat Dan Eve", 1, "Ann|Bea Cat Dan Eve|||Eve 2"},
        {"one", 1, "one|||| 1"}, {"one", 3, "|one||| 1"}, {"^^", 1, "|||| 0"},
    };
    Reports said(15);
    for (const auto &each : cases)
        EXPECT_EQ(parsed(each.text, each.order), each.fields) << each.text << ", order " << each.order;
    EXPECT_TRUE(said.all.empty());
}

TEST(Name, WarnsOfMoreThanFiveParts)
{
    struct { const char *text, *fields; } cases[] = {
        {"Ann Bea Cat Dan Eve Fay", "Ann|Bea Cat Dan Eve|||Eve 2"}, {"a,b,c,d,e,f,g,h", "a|b|c|d|e 3"},
    };
    for (const auto &each : cases) {
        Reports said;
        EXPECT_EQ(parsed(each.text), each.fields);
        EXPECT_EQ(said.warnings(),
                  std::string("\xF1\x05WARING:\x02 Invalid name string (\x01") + each.text + "\x02)\n");
    }
}

TEST(Name, OfNothingIsRefusedWithALineInTheTrace)
{
    Velmora_Name taken = {}, fresh = {};
    Make_Velm_Name(&taken, "Smith", nullptr, nullptr, nullptr, nullptr);
    struct { Velmora_Name *name; const char *text, *report; } cases[] = {
        {nullptr, "x", "Name already defined"}, {&taken, "x", "Name already defined"},
        {&fresh, nullptr, "input string is empty"}, {&fresh, "", "input string is empty"},
        {&fresh, "   ", "input string is only spaces"},
    };
    Reports said(11);
    for (const auto &each : cases) {
        EXPECT_EQ(Make_Velm_Name_From_Str(each.name, each.text, 1), 1);
        EXPECT_EQ(said.all.back(), (Report{11, std::string("in Make_Velm_Name_From_Str() ") + each.report}));
    }
    for (Velmora_Name *name : {static_cast<Velmora_Name *>(nullptr), &taken})
        EXPECT_EQ(Make_Velm_Name_From_Buf(name, "%s", "x", 1), 1);
    EXPECT_EQ(Make_Velm_Name_From_Buf(&fresh, "%s", "", 1), 1);
    EXPECT_EQ(said.all.size(), 5u);
    EXPECT_EQ(outline(taken) + " / " + outline(fresh), "Smith|||| 1 / |||| 0");
    EXPECT_EQ(Make_Velm_Name_From_Buf(&fresh, "Dr %s", "John Smith", 1), 1);
    EXPECT_EQ(outline(fresh), "John|Smith||Dr| 2");
    Name_Free(&taken);
    Name_Free(&fresh);
}

TEST(Name, KeepsWhatItsFieldsHold)
{
    Velmora_Name name = {}, other = {};
    const std::string family(64, 'x'), kept = family + "|John  Q|M||Jr 2";
    EXPECT_EQ(Make_Velm_Name(&name, nullptr, " John    Q ", "", nullptr, "Jr"), 1);
    EXPECT_EQ(outline(name), "|John  Q|||Jr 1");
    EXPECT_EQ(Make_Velm_Name(&name, (family + "x").c_str(), "   ", nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(outline(name), family + "|John  Q|||Jr 2");
    EXPECT_EQ(Make_Velm_Name(&other, "Public", nullptr, "M", nullptr, nullptr), 1);
    for (Velmora_Name *origin : {&name, &other}) {
        EXPECT_EQ(Name_Copy(&other, origin), 1);
        EXPECT_EQ(outline(other), kept) << "a field that the origin lacks stays";
    }
    for (Velmora_Name *each : {&name, &other, &other, static_cast<Velmora_Name *>(nullptr)})
        Name_Free(each);
    EXPECT_EQ(outline(other), "|||| 0");
}

TEST(Name, IsOrderedByFamilyThenGiven)
{
    struct { const char *family_a, *given_a, *family_b, *given_b; int lowest, highest; } cases[] = {
        {"Smith", "John", "SMITH", "john", 0, 0}, {"Smith", nullptr, "smith", nullptr, 0, 0},
        {nullptr, nullptr, nullptr, nullptr, 0, 0}, {nullptr, nullptr, "a", nullptr, -1000, -1000},
        {"a", nullptr, nullptr, nullptr, 1000, 1000}, {nullptr, "John", "Smith", "John", -100, -100},
        {"Smith", "John", nullptr, "John", 100, 100}, {"adams", "z", "Baker", "a", -99, -1},
        {"Baker", nullptr, "adams", "a", 1, 99}, {"Smith", nullptr, "Smith", "a", -10, -10},
        {"Smith", "a", "Smith", nullptr, 10, 10}, {nullptr, "Ann", nullptr, "anna", -255, -1},
        {"a_", "x", "aB", "x", -99, -1},   // letters compare as small ones
    };
    for (const auto &each : cases) {
        Velmora_Name a = {}, b = {};
        Make_Velm_Name(&a, each.family_a, each.given_a, "p", "q", "r");
        Make_Velm_Name(&b, each.family_b, each.given_b, nullptr, nullptr, nullptr);
        a.count = static_cast<unsigned char>((a.family != nullptr) + (a.given != nullptr));
        int result = Velm_Name_Cmp(&a, &b);
        EXPECT_TRUE(result >= each.lowest && result <= each.highest) << outline(a) << " / " << outline(b) << result;
        Name_Free(&a);
        Name_Free(&b);
    }
    Velmora_Name none = {};
    EXPECT_EQ(Velm_Name_Cmp(nullptr, nullptr), 0);
    EXPECT_EQ(Velm_Name_Cmp(nullptr, &none), -1000);
    EXPECT_EQ(Velm_Name_Cmp(&none, nullptr), 1000);
}

TEST(Name, IsPrintedInFourForms)
{
    struct { const char *dicom, *readable, *comma, *natural; } cases[] = {
        {"Smith^John^Q^Dr^Jr", "Dr Smith, John Q Jr", "Dr Smith, John Q Jr", "Dr John Q Smith Jr"},
        {"Smith^^^^Jr", "Smith Jr", "Smith, Jr", "Smith Jr"}, {"Smith", "Smith", "Smith,", "Smith"},
        {"^John", ", John", ", John", "John "}, {"^^Q^Dr", "Dr  Q", "Dr , Q", "Dr Q "},
    };
    for (const auto &each : cases) {
        Velmora_Name name = {};
        Make_Velm_Name_From_Str(&name, each.dicom, 1);
        std::string room(strlen(each.dicom) + 1, '#');   // not a byte more than the text needs
        EXPECT_EQ(Name_2_DICOM(&name, room.data()), room.data());
        EXPECT_STREQ(room.c_str(), each.dicom);
        EXPECT_STREQ(Name_2_Str(&name), each.readable);
        EXPECT_STREQ(Name_2_Str_Comma(&name), each.comma);
        EXPECT_STREQ(Name_2_Str_Old(&name), each.natural);
        Name_Free(&name);
    }
}

TEST(Name, PrintsAsNullWhenEmptyAndIsCutAtItsSlot)
{
    Velmora_Name prefix_only = {}, name = {};
    Make_Velm_Name(&prefix_only, nullptr, nullptr, nullptr, "Dr", nullptr);
    Make_Velm_Name_From_Str(&name, (std::string(400, 'f') + "^" + std::string(400, 'g')).c_str(), 1);
    for (Velmora_Name *empty : {static_cast<Velmora_Name *>(nullptr), &prefix_only}) {
        char room[] = "old";
        EXPECT_EQ(Name_2_DICOM(empty, room), nullptr);
        EXPECT_STREQ(room, "");
        for (auto *print : {Name_2_Str, Name_2_Str_Comma, Name_2_Str_Old})
            EXPECT_EQ(print(empty), nullptr);
    }
    EXPECT_EQ(Name_2_Str(&name), std::string(323, 'f'));
    EXPECT_EQ(Name_2_Str_Comma(&name), std::string(323, 'f'));
    EXPECT_EQ(Name_2_Str_Old(&name), std::string(323, 'g'));
    Name_Free(&prefix_only);
    Name_Free(&name);
}

