// The program's own parsers and forms on any data set: tag paths and assignments from the input, then the dump in each
// form. JSON is valid, the listing has its columns, and no control byte of a value gets out.
#include <string.h>
#include <vector>

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include "fuzz/data_set_input.h"
#include "host/program/assignment.h"
#include "host/program/dump.h"
#include "host/program/messages.h"
#include "host/program/output.h"

using namespace velmora_host;

// ---- what is printed ------------------------------------------------------------------

static std::string printed;

static void take_text(void *, bool to_err, const char *bytes, size_t count)
{
    if (!to_err)
        printed.append(bytes, count);
}

static void take_folded(void *, const Folded_Lines &) {}

static const Diversion to_us = {take_text, take_folded, nullptr};

static void check_json()
{
    rapidjson::Reader reader;
    rapidjson::StringStream stream(printed.c_str());
    rapidjson::BaseReaderHandler<> nothing;
    HOLDS(printed.find('\0') == std::string::npos);
    rapidjson::ParseResult result = reader.Parse<rapidjson::kParseValidateEncodingFlag>(stream, nothing);
    if (!result)
        fail("no JSON at %zu: %s", result.Offset(), rapidjson::GetParseError_En(result.Code()));
}

// Behind the line of names each one has as many tabs as that.
static void check_tsv()
{
    size_t columns = 0, line_columns = 0;
    for (char c : printed) {
        HOLDS(c == '\n' || c == '\t' || (c >= ' ' && c != 0x7F) || static_cast<unsigned char>(c) >= 0x80);
        if (c == '\t')
            line_columns++;
        if (c != '\n')
            continue;
        if (columns == 0)
            columns = line_columns;
        HOLDS(line_columns == columns);
        line_columns = 0;
    }
}

static void check_tree_lines()
{
    for (char c : printed)
        HOLDS(c == '\n' || static_cast<unsigned char>(c) >= 0x20);
}

static void print_forms(Data_Set *set, const std::vector<Tag_Path> &only, unsigned char choice)
{
    divert(&to_us);
    printed.clear();
    {
        Json json((choice & 1) != 0);
        Json_Form form;
        form.inline_limit = (choice & 2) != 0 ? 0 : 16;
        form.has_head = (choice & 4) != 0;
        form.uri = file_uri("/tmp/a \xFF b.dcm");
        dump_json(&json, form, *set, only);
    }
    flush_out();
    check_json();
    printed.clear();
    dump_tsv(*set, only);
    flush_out();
    check_tsv();
    printed.clear();
    dump_tree(set, only, false, (choice & 8) != 0);
    flush_out();
    if ((choice & 8) == 0)
        check_tree_lines();
    divert(nullptr);
}

// ---- arguments ------------------------------------------------------------------------

// The first bytes of the data set serve as the arguments too, and a few fixed ones.
static std::vector<Tag_Path> paths_of(const std::string &text)
{
    std::vector<Tag_Path> paths;
    for (const std::string &each : {text, std::string("0040,a730[1]/0040,*"), std::string("60xx,3000")}) {
        Tag_Path path;
        std::string error;
        if (parse_tag_path(each, &path, &error))
            paths.push_back(path);
        else
            HOLDS(!error.empty());
    }
    return paths;
}

static void assign_all(Data_Set *set, const std::string &text)
{
    std::vector<std::string> texts = {text,
                                      "0010,0010:PN=" + text,
                                      "0008,0005=ISO_IR 192",
                                      "0040,a730[2]/0040,a160=" + text,
                                      "0028,0010=" + text.substr(0, 8),
                                      "0008,1140/0008,1150=1.2.3",
                                      "0018,0050:DS=" + text.substr(0, 20)};
    for (const std::string &each : texts) {
        Assignment what;
        std::string error;
        if (parse_assignment(each, &what, &error))
            assign(set, what, &error);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char choice = input.byte(), encodings = input.byte();
    Fresh_Library library(false);
    std::string stream = input.rest(), argument;
    if ((choice & 0x10) != 0) {   // an argument comes first
        size_t length = stream.empty() ? 0 : static_cast<unsigned char>(stream[0]);
        argument = stream.substr(stream.empty() ? 0 : 1, length);
        stream.erase(0, argument.size() + 1);
    }
    Loaded_Input loaded(stream, chosen_source_mode(encodings), true);
    if (loaded.result != LOADED)
        return 0;
    std::vector<Tag_Path> all;
    print_forms(&loaded.set, (choice & 0x20) != 0 ? paths_of(argument) : all, choice);
    make_editable(&loaded.set);
    DICOM_Root root = {};
    DICOM_Attribute_Sort(nullptr, &root, &loaded.set.tree);
    assign_all(&loaded.set, as_text(argument));
    check_tree(loaded.set.tree);
    return 0;
}
