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
    struct {
        const char *text;
        int order;
        const char *fields;
    } cases[] = {
        {"Smith^John^Q^Dr^Jr",    1, "Smith|John|Q|Dr|Jr 3"},
        {"  Smith^ John ^^ Dr ^", 1, "Smith|John||Dr| 2"},
        {"^John",                 1, "|John||| 1"},
        {"Smith^J.R.",            1, "Smith|J.R.||| 2"},
        {"Smith^a, b",            1, "Smith|a,|b|| 3"},
        {"John Smith",            1, "John|Smith||| 2"},
        {"John Smith",            3, "Smith|John||| 2"},
        {"Smith^John",            3, "Smith|John||| 2"},
        {"Smith, John",           1, "Smith|John||| 2"},
        {"Smith, John",           3, "John|Smith||| 2"},
        {"Smith, J.R.",           1, "Smith|J.|R.|| 3"},
        {"Smith, John Q",         1, "Smith|John|Q|| 3"},
        {"Smith^John Q",          1, "Smith|John|Q|| 3"},
        {"John Q Public",         1, "John|Public|Q|| 3"},
        {"John Q Public",         3, "Public|John|Q|| 3"},
        {"Q John Public",         1, "John|Q Public||| 2"},
        {"John Public Q",         1, "John|Public|Q|| 3"},
        {"J. Q. Public",          1, "J.|Q. Public||| 2"},
        {"J.Q.Public",            1, "J.Q.Public|||| 1"},   // a point alone parts nothing
        {"J.Q. Public",           1, "J.|Q. Public||| 2"},
        {"Q X. John Public",      1, "Q|X. John Public||| 2"},
        {"Ann B Cat Dan Eve",     1, "Ann|Cat Dan Eve|B|| 3"},
        {"Dr. John Smith",        1, "John|Smith||Dr.| 2"},
        {"Dr John Smith",         1, "John|Smith||Dr| 2"},
        {"Dr John Q Public",      1, "John|Public|Q|Dr| 3"},
        {"Dr Ann Bea Cat Dan",    1, "Ann|Bea Cat Dan||Dr| 2"},
        {"Dr. Dr. Smith",         1, "|Smith||Dr| 1"},
        {"Dre Smith",             1, "Smith|||Dre| 1"},
        {"Dr.Smith",              1, "Smith|||Dr| 1"},
        {"dr. Smith",             1, "|Smith||dr| 1"},
        {"Dr., Smith",            1, "|Smith||Dr| 1"},
        {"DR.Smith^John^^Prof",   1, "Smith|John||DR| 2"},
        {"Dr.",                   1, "|||Dr| 0"},
        {"Smith Jr.",             1, "Smith|Jr.||| 2"},
        {"Ann    Bea",            1, "Ann|Bea||| 2"},
        {"Smith^John    Bea",     1, "Smith|John  Bea||| 2"},
        {"Ann Bea Cat Dan Eve",   1, "Ann|Bea Cat Dan Eve|||Eve 2"},
        {"one",                   1, "one|||| 1"},
        {"one",                   3, "|one||| 1"},
        {"^^",                    1, "|||| 0"},
    };
    Reports said(15);
    for (const auto &each : cases)
        EXPECT_EQ(parsed(each.text, each.order), each.fields) << each.text << ", order " << each.order;
    EXPECT_TRUE(said.all.empty());
}

TEST(Name, WarnsOfMoreThanFiveParts)
{
    struct {
        const char *text, *fields;
    } cases[] = {
        {"Ann Bea Cat Dan Eve Fay", "Ann|Bea Cat Dan Eve|||Eve 2"},
        {"a^b^c^d^e^f",             "a|b|c|d|e 3"},
        {"a,b,c,d,e,f,g,h",         "a|b|c|d|e 3"},
    };
    for (const auto &each : cases) {
        Reports said;
        EXPECT_EQ(parsed(each.text), each.fields);
        std::string warning = std::string("\xF1\x05WARING:\x02 Invalid name string (\x01") + each.text + "\x02)\n";
        EXPECT_EQ(said.warnings(), warning);
    }
}

TEST(Name, OfNothingIsRefusedWithALineInTheTrace)
{
    Velmora_Name taken = {}, fresh = {};
    ASSERT_EQ(Make_Velm_Name(&taken, "Smith", nullptr, nullptr, nullptr, nullptr), 1);
    struct {
        Velmora_Name *name;
        const char *text, *report;
    } cases[] = {
        {nullptr, "x",     "in Make_Velm_Name_From_Str() Name already defined"},
        {&taken,  "x",     "in Make_Velm_Name_From_Str() Name already defined"},
        {&fresh,  nullptr, "in Make_Velm_Name_From_Str() input string is empty"},
        {&fresh,  "",      "in Make_Velm_Name_From_Str() input string is empty"},
        {&fresh,  "   ",   "in Make_Velm_Name_From_Str() input string is only spaces"},
    };
    for (const auto &each : cases) {
        Reports said(11);
        EXPECT_EQ(Make_Velm_Name_From_Str(each.name, each.text, 1), 1);
        EXPECT_EQ(said.all, (std::vector<Report>{
                                {11, each.report}
        }));
    }
    EXPECT_EQ(outline(taken), "Smith|||| 1");
    EXPECT_EQ(outline(fresh), "|||| 0");

    Reports said(11);
    EXPECT_EQ(Make_Velm_Name_From_Buf(nullptr, "%s", "x", 1), 1);
    EXPECT_EQ(Make_Velm_Name_From_Buf(&taken, "%s", "x", 1), 1);
    EXPECT_EQ(Make_Velm_Name_From_Buf(&fresh, "%s", "", 1), 1);
    EXPECT_TRUE(said.all.empty());
    EXPECT_EQ(Make_Velm_Name_From_Buf(&fresh, "Dr %s", "John Smith", 1), 1);
    EXPECT_EQ(outline(fresh), "John|Smith||Dr| 2");
    Name_Free(&taken);
    Name_Free(&fresh);
}

TEST(Name, OfAnyLengthStaysInsideItsBuffers)
{
    Reports said;
    EXPECT_EQ(parsed(std::string(3000, 'x')), std::string(1023, 'x') + "|||| 1");
    EXPECT_EQ(parsed("a," + std::string(1021, '.')), "a|.|.|.|. 3") << "a separator goes in behind each character";
    EXPECT_EQ(parsed("Ann Bea Cat Dan " + std::string(2000, 'x')),
              "Ann|Bea Cat Dan " + std::string(1007, 'x') + "|||" + std::string(1007, 'x') + " 2");
    Velmora_Name name = {};
    EXPECT_EQ(Make_Velm_Name_From_Buf(&name, "%s,.", std::string(5000, '.').c_str(), 1), 1);
    EXPECT_EQ(outline(name), std::string(1023, '.') + "|||| 1") << "the comma is behind the end of the buffer";
    Name_Free(&name);
}

TEST(Name, KeepsWhatItsFieldsHold)
{
    Velmora_Name name = {};
    EXPECT_EQ(Make_Velm_Name(&name, nullptr, " John    Q ", "", nullptr, "Jr"), 1);
    EXPECT_EQ(outline(name), "|John  Q|||Jr 1");
    std::string long_name(65, 'x');
    EXPECT_EQ(Make_Velm_Name(&name, long_name.c_str(), "   ", nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(outline(name), std::string(64, 'x') + "|John  Q|||Jr 2");

    Velmora_Name other = {};
    EXPECT_EQ(Make_Velm_Name(&other, "Public", nullptr, "M", nullptr, nullptr), 1);
    EXPECT_EQ(Name_Copy(&other, &name), 1);
    EXPECT_EQ(outline(other), std::string(64, 'x') + "|John  Q|M||Jr 2") << "a field that the origin lacks stays";
    EXPECT_EQ(Name_Copy(&other, &other), 1);
    EXPECT_EQ(outline(other), std::string(64, 'x') + "|John  Q|M||Jr 2");
    Name_Free(&other);
    Name_Free(&other);
    Name_Free(nullptr);
    EXPECT_EQ(outline(other), "|||| 0");
    Name_Free(&name);
}

TEST(Name, IsOrderedByFamilyThenGiven)
{
    struct Name {
        const char *family, *given;
    };
    struct {
        Name a, b;
        int lowest, highest;   // range of the result
    } cases[] = {
        {{"Smith", "John"},  {"SMITH", "john"},  0,     0},
        {{"Smith", nullptr}, {"smith", nullptr}, 0,     0},
        {{nullptr, nullptr}, {nullptr, nullptr}, 0,     0},
        {{nullptr, nullptr}, {"a", nullptr},     -1000, -1000},
        {{"a", nullptr},     {nullptr, nullptr}, 1000,  1000},
        {{nullptr, "John"},  {"Smith", "John"},  -100,  -100},
        {{"Smith", "John"},  {nullptr, "John"},  100,   100},
        {{"adams", "z"},     {"Baker", "a"},     -99,   -1},
        {{"Baker", nullptr}, {"adams", "a"},     1,     99},
        {{"Smith", nullptr}, {"Smith", "a"},     -10,   -10},
        {{"Smith", "a"},     {"Smith", nullptr}, 10,    10},
        {{nullptr, "Ann"},   {nullptr, "anna"},  -255,  -1},
        {{"a_", "x"},        {"aB", "x"},        -99,   -1},   // letters compare as small ones
    };
    for (const auto &each : cases) {
        Velmora_Name a = {}, b = {};
        Make_Velm_Name(&a, each.a.family, each.a.given, "p", "q", "r");
        Make_Velm_Name(&b, each.b.family, each.b.given, nullptr, nullptr, nullptr);
        a.count = static_cast<unsigned char>((a.family != nullptr) + (a.given != nullptr));
        int result = Velm_Name_Cmp(&a, &b);
        EXPECT_TRUE(result >= each.lowest && result <= each.highest)
            << outline(a) << " / " << outline(b) << ": " << result;
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
    struct {
        const char *family, *given, *middle, *prefix, *suffix;
        const char *dicom, *readable, *comma, *natural;
    } cases[] = {
        {"Smith", "John", "Q", "Dr", "Jr",
         "Smith^John^Q^Dr^Jr", "Dr Smith, John Q Jr", "Dr Smith, John Q Jr", "Dr John Q Smith Jr"},
        {"Smith", nullptr, nullptr, nullptr, "Jr", "Smith^^^^Jr", "Smith Jr", "Smith, Jr", "Smith Jr"},
        {"Smith", nullptr, nullptr, nullptr, nullptr, "Smith", "Smith", "Smith,", "Smith"},
        {nullptr, "John", nullptr, nullptr, nullptr, "^John", ", John", ", John", "John "},
        {nullptr, nullptr, "Q", "Dr", nullptr, "^^Q^Dr", "Dr  Q", "Dr , Q", "Dr Q "},
    };
    for (const auto &each : cases) {
        Velmora_Name name = {};
        Make_Velm_Name(&name, each.family, each.given, each.middle, each.prefix, each.suffix);
        std::string room(strlen(each.dicom) + 1, '#');   // not a byte more than the text needs
        EXPECT_EQ(Name_2_DICOM(&name, room.data()), room.data());
        EXPECT_STREQ(room.c_str(), each.dicom);
        EXPECT_STREQ(Name_2_Str(&name), each.readable);
        EXPECT_STREQ(Name_2_Str_Comma(&name), each.comma);
        EXPECT_STREQ(Name_2_Str_Old(&name), each.natural);
        Name_Free(&name);
    }
}

TEST(Name, PrintsAsNullWhenEmpty)
{
    Velmora_Name prefix_only = {};
    Make_Velm_Name(&prefix_only, nullptr, nullptr, nullptr, "Dr", nullptr);
    EXPECT_EQ(prefix_only.count, 0);
    for (Velmora_Name *name : {static_cast<Velmora_Name *>(nullptr), &prefix_only}) {
        char room[] = "old";
        EXPECT_EQ(Name_2_DICOM(name, room), nullptr);
        EXPECT_STREQ(room, "");
        EXPECT_EQ(Name_2_Str(name), nullptr);
        EXPECT_EQ(Name_2_Str_Comma(name), nullptr);
        EXPECT_EQ(Name_2_Str_Old(name), nullptr);
    }
    Name_Free(&prefix_only);
}

TEST(Name, ReadableFormsStayValidFor127FurtherCalls)
{
    for (auto *print : {Name_2_Str, Name_2_Str_Comma, Name_2_Str_Old}) {
        Velmora_Name name = {}, other = {};
        Make_Velm_Name(&name, "Smith", "J", nullptr, nullptr, nullptr);
        Make_Velm_Name(&other, "Public", "K", nullptr, nullptr, nullptr);
        char *first = print(&name);
        std::string text = first;
        for (int i = 0; i < 127; i++)
            print(i % 2 != 0 ? &other : nullptr);
        EXPECT_EQ(first, text);
        EXPECT_EQ(print(&other), first) << "a call that gives null takes a slot too";
        Name_Free(&name);
        Name_Free(&other);
    }
}

TEST(Name, ReadableFormsAreCutAtTheirSlot)
{
    Velmora_Name name = {};
    Make_Velm_Name_From_Str(&name, (std::string(400, 'f') + "^" + std::string(400, 'g')).c_str(), 1);
    EXPECT_EQ(Name_2_Str(&name), std::string(323, 'f'));
    EXPECT_EQ(Name_2_Str_Comma(&name), std::string(323, 'f'));
    EXPECT_EQ(Name_2_Str_Old(&name), std::string(323, 'g'));
    Name_Free(&name);
}

TEST(Name, SurvivesEachRefusedAllocation)
{
    Velmora_Name origin = {};
    Make_Velm_Name_From_Str(&origin, "Smith^John^Q^Dr^Jr", 1);
    const char *const fields[] = {"family", "given", "middle", "prefix", "suffix"};
    std::string found;
    auto failure = [&](const char *record, int n) {
        return std::string("line N of .\\conv_name_fct \nmemory error in strdup (var=") + record + "->" +
               fields[n - 1] + ")\n";
    };
    refuse_each_allocation([&](int n) {
        Reports said;
        Velmora_Name name = {};
        bool refused = Make_Velm_Name_From_Str(&name, "Smith^John^Q^Dr^Jr", 1) == 0;
        EXPECT_EQ(said.failures(), refused ? failure("name", n) : "");
        EXPECT_EQ(name.count, refused ? 0 : 3);
        Name_Free(&name);
    });
    refuse_each_allocation([&](int n) {
        Reports said;
        Velmora_Name name = {};
        bool refused = Name_Copy(&name, &origin) == 0;
        EXPECT_EQ(said.failures(), refused ? failure("target", n) : "");
        Name_Free(&name);
    });
    refuse_each_allocation([&](int n) {
        Reports said;
        Velmora_Name name = {};
        bool refused = Make_Velm_Name(&name, "a", "b", "c", "d", "e") == 0;
        EXPECT_EQ(said.failures(), refused ? failure("name", n) : "");
        Name_Free(&name);
    });
    Name_Free(&origin);
}
