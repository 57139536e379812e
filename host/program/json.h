// JSON on standard output, valid whatever the values hold.
#ifndef VELMORA_PROGRAM_JSON_H
#define VELMORA_PROGRAM_JSON_H

#include <string>

#include <rapidjson/prettywriter.h>

// What rapidjson writes to: standard output, by way of a small block.
class Json_Stream
{
  public:
    typedef char Ch;
    ~Json_Stream()
    {
        Flush();
    }
    void Put(char c)
    {
        if (count == sizeof block)
            Flush();
        block[count++] = c;
    }
    void Flush();

  private:
    size_t count = 0;
    char block[4096];
};

// A writer that breaks lines or does not. Its calls are those of rapidjson's.
class Json
{
  public:
    explicit Json(bool is_indented) : plain(stream), indented(stream), breaks_lines(is_indented)
    {
        indented.SetIndent(' ', 2);
    }
    void start_object()
    {
        breaks_lines ? indented.StartObject() : plain.StartObject();
    }
    void end_object()
    {
        breaks_lines ? indented.EndObject() : plain.EndObject();
    }
    void start_array()
    {
        breaks_lines ? indented.StartArray() : plain.StartArray();
    }
    void end_array()
    {
        breaks_lines ? indented.EndArray() : plain.EndArray();
    }
    void null()
    {
        breaks_lines ? indented.Null() : plain.Null();
    }
    void key(const char *name)
    {
        string(name);
    }
    void string(const std::string &utf8);

    // A text that is a number of JSON already, digit for digit.
    void number(const std::string &digits);

    // The bytes in base64.
    void base64(const char *bytes, size_t size);

    // Ends a document with a line feed; another one may follow.
    void end_document();

  private:
    Json_Stream stream;
    rapidjson::Writer<Json_Stream> plain;
    rapidjson::PrettyWriter<Json_Stream> indented;
    bool breaks_lines;
};

// A text of any bytes, as the name of a file is: as it is where that is UTF-8, else made visible.
bool is_utf8(const std::string &text);
std::string utf8_of(const std::string &bytes);

// The number that a text stands for, in the form that JSON has for numbers: "+01.50" gives "1.50". Empty: it is none,
// or one that a double cannot hold.
std::string json_number(const std::string &text);

#endif
