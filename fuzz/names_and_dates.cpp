// Person names, dates and times of day from any text, with any template, in any order of calls: the records stay such
// that they can be copied, compared, printed and released; what is a date or a time after its repair is one.
#include <stdlib.h>
#include <string.h>

#include "fuzz/support.h"

static volatile size_t seen;

static void see(const char *text)
{
    if (text != nullptr)
        seen = seen + strlen(text);
}

// ---- names ----------------------------------------------------------------------------

// As Name_2_DICOM says: 325 bytes for a name of Make_Velm_Name; one of a free text may have fields as long as that.
static size_t room_for(const Velmora_Name &name)
{
    static const size_t FIXED = 325, CARETS = 4;
    size_t room = CARETS + 1;
    for (const char *field : {name.family, name.given, name.middle, name.prefix, name.suffix})
        room += field != nullptr ? strlen(field) : 0;
    return room > FIXED ? room : FIXED;
}

static void show_name(Velmora_Name *name)
{
    std::string room(room_for(*name), 'x');
    Block exact(room);   // found out if it is passed
    see(Name_2_DICOM(name, exact.data));
    see(Name_2_Str(name));
    see(Name_2_Str_Comma(name));
    see(Name_2_Str_Old(name));
}

static void try_names(Input *input)
{
    static const char *const formats[] = {"%s", "Dr. %s", "%s^Jr", "%-20s,", "%.5s"};
    Velmora_Name name = {}, copy = {}, other = {};
    int order = input->byte() & 3;
    const char *format = formats[input->below(5)];
    bool from_parts = input->below(4) == 0;
    std::string parts[5];
    if (from_parts) {
        for (std::string &part : parts)
            part = as_text(input->piece());
        Make_Velm_Name(&name, parts[0].c_str(), parts[1].c_str(), parts[2].c_str(), parts[3].c_str(), parts[4].c_str());
    }
    std::string text = as_text(input->piece()), second = as_text(input->piece());
    Make_Velm_Name_From_Str(&name, text.c_str(), order);
    Make_Velm_Name_From_Buf(&other, format, second.c_str(), order);
    show_name(&name);
    show_name(&other);
    Name_Copy(&copy, &name);
    HOLDS(Velm_Name_Cmp(&copy, &name) == 0);
    int forth = Velm_Name_Cmp(&name, &other), back = Velm_Name_Cmp(&other, &name);
    HOLDS((forth < 0) == (back > 0) && (forth == 0) == (back == 0));
    Name_Copy(&copy, &other);
    show_name(&copy);
    Name_Free(&name);
    Name_Free(&copy);
    Name_Free(&other);
}

// ---- dates ----------------------------------------------------------------------------

// A copy of numbers leaves the texts that the record had: they are the host's then.
static void drop_date(Velmora_Date *date)
{
    free(date->date_str);
    free(date->date_template);
    *date = {};
}

static void try_date(Input *input)
{
    Velmora_Date date = {}, copy = {}, other = {};
    char old_dates = static_cast<char>(input->below(2));
    std::string text = as_text(input->piece()), tmplt = as_text(input->piece());
    if (input->below(4) == 0)
        Make_Velm_Date(&date, static_cast<int>(input->number()), input->byte(), input->byte());
    else if (input->below(8) == 0)
        Make_Velm_Date(&date, static_cast<int64_t>(input->number()) << input->below(33));
    else
        Make_Velm_Date(&date, text.c_str(), tmplt.c_str());
    Make_Velm_Date(&other, text.c_str(), "yyyymmdd");
    Date_Copy(&copy, &date);
    see(Velm_Date_Postproc(&date, old_dates));
    see(Velm_Date_Postproc(&other, old_dates));
    see(Time_2_DICOM(&date, nullptr));
    see(Time_2_Str(&copy, nullptr));
    int year = 0, month = 0, day = 0;
    if (date.state == 1 && Get_Velm_Date(&date, &year, &month, &day) && copy.state == 2)
        HOLDS(month >= 0 && month <= 12 && day >= 0 && day <= 31);
    Get_Velm_Date(&date);
    int forth = Velm_Date_Cmp(&date, &other), back = Velm_Date_Cmp(&other, &date);
    HOLDS((forth < 0) == (back > 0) || date.state != 1 || other.state != 1);
    Date_Copy(&other, &date);
    Date_Free(&date);
    Date_Free(&copy);
    drop_date(&other);
    Get_Month_From_Int(input->byte());
    std::string name = text;
    Get_Month_From_Str(name.data());
}

// ---- times ----------------------------------------------------------------------------

static void drop_time(Velmora_Time *time)
{
    free(time->time_str);
    free(time->time_template);
    *time = {};
}

static void make_time(Velmora_Time *time, Input *input, const std::string &text, const std::string &tmplt)
{
    uint32_t bits;
    float real;
    switch (input->below(8)) {
    case 0:
        Make_Velm_Time(time, static_cast<int>(input->number()), input->byte(), static_cast<int>(input->byte()));
        return;
    case 1:
        bits = input->number();
        memcpy(&real, &bits, sizeof real);
        Make_Velm_Time(time, real);
        return;
    case 2:
        bits = input->number();
        memcpy(&real, &bits, sizeof real);
        Make_Velm_Time(time, input->byte(), input->byte(), real);
        return;
    case 3:
        Make_Velm_Time(time, static_cast<int64_t>(input->number()) << input->below(33));
        return;
    default:
        Make_Velm_Time(time, text.c_str(), tmplt.c_str());
        return;
    }
}

static void try_time(Input *input)
{
    Velmora_Time time = {}, copy = {}, other = {};
    Velmora_Date date = {};
    std::string text = as_text(input->piece()), tmplt = as_text(input->piece());
    make_time(&time, input, text, tmplt);
    Make_Velm_Time(&other, text.c_str(), "hhmmss.ffffff");
    Make_Velm_Date(&date, text.c_str(), tmplt.c_str());
    Time_Copy(&copy, &time);
    see(Velm_Time_Postproc(&time));
    see(Velm_Time_Postproc(&other));
    if (time.state == 1 && copy.state == 2 && (time.minute > 59 || time.second >= 60.0f || time.hour > 23))
        fail("'%s' by '%s' gives %d:%d:%g", text.c_str(), tmplt.c_str(), time.hour, time.minute,
             static_cast<double>(time.second));
    see(Time_2_DICOM(&date, &time));
    see(Time_2_Str(&date, &copy));
    see(Time_2_Str(nullptr, &time));
    float hours = 0;
    Get_Velm_Time(&time, &hours);
    Get_Velm_Time(&time);
    Velm_Time_Cmp(&time, &other);
    Time_Copy(&other, &time);
    Date_Free(&date);
    Time_Free(&time);
    Time_Free(&copy);
    drop_time(&other);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char choice = input.byte();
    Fresh_Library library((choice & 0xE0) == 0xE0);
    std::string date_template, time_template;
    if ((choice & 0x10) != 0) {
        date_template = as_text(input.piece());
        time_template = as_text(input.piece());
        Velm_Date_Template = date_template.c_str();
        Velm_Time_Template = time_template.c_str();
    }
    if ((choice & 1) != 0)
        try_names(&input);
    if ((choice & 2) != 0)
        try_date(&input);
    if ((choice & 4) != 0)
        try_time(&input);
    return 0;
}
