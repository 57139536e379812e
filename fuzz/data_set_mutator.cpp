// Mutations of data sets that keep element headers whole: elements and items are put in, taken out, copied and moved,
// their tags, VRs, lengths and values changed, and streams written anew in another encoding. Lengths around a change
// follow it, but for those that are made false on purpose.
#include <string.h>
#include <algorithm>
#include <random>

#include "fuzz/data_set_input.h"
#include "fuzz/stream_tokens.h"

using namespace velmora_host;

extern "C" size_t LLVMFuzzerMutate(uint8_t *bytes, size_t size, size_t most);

// ---- chance ---------------------------------------------------------------------------

struct Chance {
    explicit Chance(unsigned int seed) : engine(seed) {}
    size_t below(size_t limit) { return limit == 0 ? 0 : engine() % limit; }
    bool one_in(unsigned int many) { return engine() % many == 0; }
    std::minstd_rand engine;
};

template <class Row, size_t COUNT>
static const Row &any_of(Chance *chance, const Row (&rows)[COUNT])
{
    return rows[chance->below(COUNT)];
}

// ---- what is put in -------------------------------------------------------------------

// Tags that code somewhere looks at, and some of each VR.
static const struct Known_Tag {
    uint16_t group, element, vr;
} known_tags[] = {
    {0x0002, 0x0010, VR_UI}, {0x0002, 0x0102, VR_OB}, {0x0004, 0x1200, VR_UL}, {0x0004, 0x1220, VR_SQ},
    {0x0004, 0x1400, VR_UL}, {0x0008, 0x0000, VR_UL}, {0x0008, 0x0001, VR_UL}, {0x0008, 0x0005, VR_CS},
    {0x0008, 0x0016, VR_UI}, {0x0008, 0x0018, VR_UI}, {0x0008, 0x0020, VR_DA}, {0x0008, 0x002A, VR_DT},
    {0x0008, 0x0030, VR_TM}, {0x0008, 0x0060, VR_CS}, {0x0008, 0x1140, VR_SQ}, {0x0009, 0x0010, VR_LO},
    {0x0009, 0x1001, VR_UN}, {0x0009, 0x1002, VR_SQ}, {0x0010, 0x0010, VR_PN}, {0x0010, 0x1010, VR_AS},
    {0x0018, 0x0050, VR_DS}, {0x0018, 0x602C, VR_FD}, {0x0018, 0x605A, VR_FL}, {0x0018, 0x6020, VR_SL},
    {0x0018, 0x9219, VR_SS}, {0x0020, 0x0013, VR_IS}, {0x0020, 0x9165, VR_AT}, {0x0028, 0x0002, VR_US},
    {0x0028, 0x0010, VR_US}, {0x0028, 0x0011, VR_US}, {0x0028, 0x0100, VR_US}, {0x0028, 0x0103, VR_US},
    {0x0028, 0x0106, VR_SS}, {0x0028, 0x3002, VR_US}, {0x0028, 0x3006, VR_OW}, {0x0029, 0x0010, VR_LO},
    {0x0029, 0x1001, VR_UC}, {0x0040, 0xA730, VR_SQ}, {0x0040, 0xA160, VR_UT}, {0x5000, 0x3000, VR_OW},
    {0x6000, 0x3000, VR_OW}, {0x7FE0, 0x0008, VR_OF}, {0x7FE0, 0x0010, VR_OW}, {0xFFFC, 0xFFFC, VR_OB},
    {0x0001, 0x0001, VR_UN}, {0xFFFF, 0xFFFF, VR_UN}, {0x0000, 0x0000, VR_UL}, {0x7FDF, 0x1000, VR_UV},
};

static const uint16_t known_vrs[] = {VR_AE, VR_AS, VR_AT, VR_CS, VR_DA, VR_DS, VR_DT, VR_FD, VR_FL, VR_IS, VR_LO,
                                     VR_LT, VR_OB, VR_OD, VR_OF, VR_OL, VR_OV, VR_OW, VR_PN, VR_SH, VR_SL, VR_SQ,
                                     VR_SS, VR_ST, VR_SV, VR_TM, VR_UC, VR_UI, VR_UL, VR_UN, VR_UR, VR_US, VR_UT,
                                     VR_UV, VR_RT, VR_OX, VR_UH, VR_NONE};

static const char *const known_values[] = {
    "", "1.2.840.10008.1.2", "1.2.840.10008.1.2.1", "1.2.840.10008.1.2.2", "1.2.840.10008.1.2.1.99",
    "1.2.840.10008.1.2.4.50", "1.2.840.10008.5.1.4.1.1.2", "1.2.840.10008.5.1.4.1.1.4", "ISO_IR 100", "ISO_IR 192",
    "\\ISO 2022 IR 87", "GB18030", "CT", "MR", "20210602", "1999.12.31", "093015.25", "20210602093015.25+0100",
    "Doe^Joe^^Dr^Jr", "012Y", "-1.5e3\\7", "-123\\2147483647", "ORIGINAL\\PRIMARY", "ACR-NEMA 2.0", "SIEMENS CSA HEADER",
};

static Token make_element(Chance *chance)
{
    static const size_t sizes[] = {0, 1, 2, 3, 4, 6, 8, 12, 16, 64, 255, 1024, 1025, 1026, 4096};
    const Known_Tag &tag = any_of(chance, known_tags);
    Token token;
    token.group = tag.group;
    token.element = tag.element;
    token.vr = chance->one_in(8) ? any_of(chance, known_vrs) : tag.vr;
    if (chance->one_in(2))
        token.value = any_of(chance, known_values);
    else
        token.value.assign(any_of(chance, sizes), static_cast<char>(chance->below(256)));
    if (token.value.size() % 2 != 0 && !chance->one_in(8))
        token.value += token.vr == VR_UI ? '\0' : ' ';
    return token;
}

static Token make_mark(Token_Kind kind, uint16_t element)
{
    Token token;
    token.kind = kind;
    token.group = GROUP_ITEM;
    token.element = element;
    return token;
}

// ---- mutations ------------------------------------------------------------------------

typedef std::vector<Token> Tokens;

static void insert_elements(Token_Stream *stream, Chance *chance)
{
    for (size_t count = 1 + chance->below(3); count > 0; count--) {
        size_t at = chance->below(stream->tokens.size() + 1);
        stream->tokens.insert(stream->tokens.begin() + static_cast<long>(at), make_element(chance));
    }
}

// A run of tokens, as indices.
struct Run {
    long from, to;
};

static Run any_run(const Tokens &tokens, Chance *chance, size_t most)
{
    long from = static_cast<long>(chance->below(tokens.size()));
    long to = from + 1 + static_cast<long>(chance->below(most));
    return {from, std::min(to, static_cast<long>(tokens.size()))};
}

static void delete_run(Token_Stream *stream, Chance *chance)
{
    Run run = any_run(stream->tokens, chance, chance->one_in(4) ? 16 : 2);
    stream->tokens.erase(stream->tokens.begin() + run.from, stream->tokens.begin() + run.to);
}

static void copy_run(Token_Stream *stream, Chance *chance)
{
    Run run = any_run(stream->tokens, chance, 8);
    Tokens copied(stream->tokens.begin() + run.from, stream->tokens.begin() + run.to);
    size_t times = chance->one_in(8) ? 1 + chance->below(64) : 1;
    size_t at = chance->below(stream->tokens.size() + 1);
    for (size_t i = 0; i < times; i++)
        stream->tokens.insert(stream->tokens.begin() + static_cast<long>(at), copied.begin(), copied.end());
}

static void move_run(Token_Stream *stream, Chance *chance)
{
    Run run = any_run(stream->tokens, chance, 4);
    Tokens moved(stream->tokens.begin() + run.from, stream->tokens.begin() + run.to);
    stream->tokens.erase(stream->tokens.begin() + run.from, stream->tokens.begin() + run.to);
    size_t at = chance->below(stream->tokens.size() + 1);
    stream->tokens.insert(stream->tokens.begin() + static_cast<long>(at), moved.begin(), moved.end());
}

// Puts a sequence with one item around a run, several times where it is to become deep.
static void wrap_run(Token_Stream *stream, Chance *chance)
{
    Run run = any_run(stream->tokens, chance, 4);
    bool undefined = chance->one_in(2);
    Token_Kind open = undefined ? TOKEN_OPEN_UNDEFINED : TOKEN_OPEN;
    Token sequence = make_mark(open, 0), item = make_mark(open, ELEMENT_ITEM);
    sequence.group = chance->one_in(4) ? 0x0009 : 0x0040;
    sequence.element = chance->one_in(4) ? 0x1010 : 0xA730;
    sequence.vr = chance->one_in(6) ? static_cast<uint16_t>(VR_UN) : static_cast<uint16_t>(VR_SQ);
    Token item_end = undefined ? make_mark(TOKEN_DELIMITER, ELEMENT_ITEM_END) : make_mark(TOKEN_CLOSE, 0);
    Token end = undefined ? make_mark(TOKEN_DELIMITER, ELEMENT_SEQUENCE_END) : make_mark(TOKEN_CLOSE, 0);
    size_t times = chance->one_in(4) ? 1 + chance->below(24) : 1;
    for (size_t i = 0; i < times; i++) {
        Tokens &tokens = stream->tokens;
        tokens.insert(tokens.begin() + run.to, {item_end, end});
        tokens.insert(tokens.begin() + run.from, {sequence, item});
        run.to += 2 + 2;
    }
}

static void insert_empty_items(Token_Stream *stream, Chance *chance)
{
    size_t at = chance->below(stream->tokens.size() + 1);
    Tokens items;
    for (size_t count = 1 + chance->below(3); count > 0; count--) {
        bool undefined = chance->one_in(2);
        items.push_back(make_mark(undefined ? TOKEN_OPEN_UNDEFINED : TOKEN_OPEN, ELEMENT_ITEM));
        items.push_back(undefined ? make_mark(TOKEN_DELIMITER, ELEMENT_ITEM_END) : make_mark(TOKEN_CLOSE, 0));
    }
    stream->tokens.insert(stream->tokens.begin() + static_cast<long>(at), items.begin(), items.end());
}

static void insert_delimiter(Token_Stream *stream, Chance *chance)
{
    static const uint16_t elements[] = {ELEMENT_ITEM_END, ELEMENT_SEQUENCE_END};
    size_t at = chance->below(stream->tokens.size() + 1);
    stream->tokens.insert(stream->tokens.begin() + static_cast<long>(at),
                          make_mark(TOKEN_DELIMITER, any_of(chance, elements)));
}

static Token *any_token(Token_Stream *stream, Chance *chance)
{
    return &stream->tokens[chance->below(stream->tokens.size())];
}

static void change_tag(Token_Stream *stream, Chance *chance)
{
    Token *token = any_token(stream, chance);
    const Known_Tag &tag = any_of(chance, known_tags);
    token->group = tag.group;
    token->element = chance->one_in(4) ? static_cast<uint16_t>(chance->engine()) : tag.element;
}

static void change_vr(Token_Stream *stream, Chance *chance)
{
    any_token(stream, chance)->vr =
        chance->one_in(16) ? static_cast<uint16_t>(chance->engine()) : any_of(chance, known_vrs);
}

static void change_length(Token_Stream *stream, Chance *chance)
{
    static const uint32_t lengths[] = {0, 1, 2, 4, 8, 12, 13, 0x100, 0x1000, 0x7FFFFFFF, 0x7FFFFFF0, 0x80000000,
                                       0xFFFFFFF0, 0xFFFFFFFE, 0xFFFFFFFF};
    Token *token = any_token(stream, chance);
    token->has_false_length = true;
    token->length = chance->one_in(2) ? any_of(chance, lengths)
                                      : static_cast<uint32_t>(token->value.size() + chance->below(9) - 4);
}

static void change_kind(Token_Stream *stream, Chance *chance)
{
    Token *token = any_token(stream, chance);
    token->kind = static_cast<Token_Kind>(chance->below(TOKEN_BYTES));
    token->has_false_length = false;
}

static void change_value(Token_Stream *stream, Chance *chance)
{
    Token *token = any_token(stream, chance);
    if (chance->one_in(4)) {
        token->value = any_of(chance, known_values);
        return;
    }
    size_t size = token->value.size();
    token->value.resize(size + 64);
    token->value.resize(LLVMFuzzerMutate(reinterpret_cast<uint8_t *>(token->value.data()), size, size + 64));
}

static void change_encoding(Token_Stream *stream, Chance *chance)
{
    static const unsigned char modes[] = {MODE_IMPLICIT_LITTLE, MODE_IMPLICIT_BIG, MODE_EXPLICIT_LITTLE,
                                          MODE_EXPLICIT_BIG};
    stream->mode = any_of(chance, modes);
}

static void change_head(Token_Stream *stream, Chance *chance)
{
    stream->head = stream->head.empty() ? std::string(128, '\0') + "DICM" : chance->one_in(2) ? "" : "DICM";
}

typedef void (*Mutation)(Token_Stream *stream, Chance *chance);

// The first of them can make something of nothing.
static const Mutation mutations[] = {
    insert_elements, insert_elements,    delete_run,       delete_run, copy_run,  move_run,      wrap_run,
    wrap_run,        insert_empty_items, insert_delimiter, change_tag, change_vr, change_length, change_length,
    change_kind,     change_value,       change_value,     change_value, change_encoding, change_head,
};

// ---- what libFuzzer calls -------------------------------------------------------------

static size_t hand_back(const uint8_t *choices, const std::string &stream, uint8_t *out, size_t most)
{
    memcpy(out, choices, CHOICE_BYTES);
    size_t size = std::min(stream.size(), most - CHOICE_BYTES);
    memcpy(out + CHOICE_BYTES, stream.data(), size);
    return CHOICE_BYTES + size;
}

static std::string stream_of(const uint8_t *bytes, size_t size)
{
    return std::string(reinterpret_cast<const char *>(bytes) + CHOICE_BYTES, size - CHOICE_BYTES);
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *bytes, size_t size, size_t most, unsigned int seed)
{
    Chance chance(seed);
    if (size < CHOICE_BYTES + 8 || most < CHOICE_BYTES + 8 || chance.one_in(5))
        return LLVMFuzzerMutate(bytes, size, most);
    uint8_t choices[CHOICE_BYTES];
    memcpy(choices, bytes, CHOICE_BYTES);
    if (chance.one_in(8))
        choices[chance.below(CHOICE_BYTES)] = static_cast<uint8_t>(chance.engine());
    Token_Stream stream = take_apart(stream_of(bytes, size), chosen_source_mode(choices[1]));
    for (size_t count = 1 + chance.below(3); count > 0; count--) {
        Mutation mutation = stream.tokens.empty() ? mutations[0] : any_of(&chance, mutations);
        mutation(&stream, &chance);
    }
    return hand_back(choices, put_together(stream), bytes, most);
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t *a, size_t size_a, const uint8_t *b, size_t size_b,
                                            uint8_t *out, size_t most, unsigned int seed)
{
    if (size_a < CHOICE_BYTES || size_b < CHOICE_BYTES || most < CHOICE_BYTES)
        return 0;
    Chance chance(seed);
    Token_Stream into = take_apart(stream_of(a, size_a), chosen_source_mode(a[1]));
    Token_Stream from = take_apart(stream_of(b, size_b), chosen_source_mode(b[1]));
    if (from.tokens.empty())
        return 0;
    Run run = any_run(from.tokens, &chance, 16);
    size_t at = chance.below(into.tokens.size() + 1);
    into.tokens.insert(into.tokens.begin() + static_cast<long>(at), from.tokens.begin() + run.from,
                       from.tokens.begin() + run.to);
    return hand_back(a, put_together(into), out, most);
}
