// A flat chain of any nodes into a tree, and any operations on that: what a host may call, in whatever order. The tree
// stays one that the library can walk and release.
#include <stdlib.h>
#include <string.h>

#include "fuzz/support.h"

static const int MOST_NODES = 600;
static const int MOST_STEPS = 24;

// ---- the flat chain -------------------------------------------------------------------

static const struct Known_Tag {
    unsigned short group, element, vr;
} known_tags[] = {
    {GROUP_ITEM, ELEMENT_ITEM, VR_NONE},      {GROUP_ITEM, ELEMENT_ITEM_END, VR_NONE},
    {GROUP_ITEM, ELEMENT_SEQUENCE_END, VR_NONE}, {0x0008, 0x1140, VR_SQ},
    {0x0040, 0xA730, VR_SQ},                  {0x0009, 0x1002, VR_SQ},
    {0x0008, 0x0060, VR_CS},                  {0x0008, 0x0016, VR_UI},
    {0x0009, 0x0010, VR_LO},                  {0x0009, 0x1001, VR_UN},
    {0x0010, 0x0010, VR_PN},                  {0x0028, 0x0010, VR_US},
    {0x0028, 0x0106, VR_US},                  {0x0008, 0x0000, VR_UL},
    {0x7FE0, 0x0010, VR_OW},                  {0x6000, 0x3000, VR_OB},
};

static const unsigned short known_vrs[] = {VR_NONE, VR_SQ, VR_UN, VR_OB, VR_OW, VR_CS, VR_UI, VR_US,
                                           VR_UL,   VR_OX, VR_RT, VR_PN, VR_DS, VR_AT, VR_FD, VR_ITEM};

static int any_size(Input *input)
{
    switch (input->below(8)) {
    case 0:
        return UNDEFINED_LENGTH;
    case 1:
        return 0;
    case 2:
        return static_cast<int>(input->number());
    case 3:
        return SMALLEST_UNREAD_VALUE + input->byte();
    default:
        return input->byte();
    }
}

static void give_value(DICOM_List *node, Input *input)
{
    std::string value = input->bytes(static_cast<size_t>(input->below(24)));
    if (value.empty())
        return;
    node->data = static_cast<char *>(malloc(value.size()));
    memcpy(node->data, value.data(), value.size());
    node->size = static_cast<int>(value.size());
}

// Where a stream's next element would stand, so that lengths can mean something.
static void place(DICOM_List *node, int *position)
{
    const int header = 8;
    node->pos = *position;
    node->data_pos = *position + header;
    bool has_value = node->data != nullptr && node->size > 0;
    *position = node->data_pos + (has_value ? node->size : 0);
}

static DICOM_List *make_node(Input *input, int *position)
{
    DICOM_List *node = static_cast<DICOM_List *>(calloc(1, sizeof(DICOM_List)));
    unsigned char what = input->byte();
    const Known_Tag &tag = known_tags[what & 15];
    node->group = tag.group;
    node->element = tag.element;
    node->vr_explicit = (what & 0x10) != 0 ? tag.vr : static_cast<unsigned short>(VR_NONE);
    node->flag = (what & 0x80) != 0 ? 0 : ORIGIN_DICOM;
    node->syntax = (what & 0x10) != 0 ? SYNTAX_EXPLICIT : SYNTAX_IMPLICIT;
    node->size = any_size(input);
    if ((what & 0x20) != 0)
        give_value(node, input);
    place(node, position);
    if ((what & 0x40) == 0)
        return node;
    unsigned char odd = input->byte();   // a node that no stream gives
    if ((odd & 0x01) != 0)
        node->vr_explicit = known_vrs[input->byte() & 15];
    if ((odd & 0x02) != 0)
        node->group = input->word();
    if ((odd & 0x04) != 0)
        node->element = input->word();
    if ((odd & 0x08) != 0)
        node->syntax = input->byte();
    if ((odd & 0x10) != 0)
        *position = node->pos = static_cast<int>(input->number() & 0x7FFFFFFF);
    if ((odd & 0x20) != 0)
        node->data_pos = static_cast<int>(input->number());
    if ((odd & 0x40) != 0)
        node->flag = input->word();
    if ((odd & 0x80) != 0)
        node->vr = known_vrs[input->byte() & 15];
    *position &= 0x3FFFFFFF;
    return node;
}

static DICOM_List *make_chain(Input *input, int count)
{
    DICOM_List *head = nullptr, **link = &head;
    int position = 0;
    for (int i = 0; i < count && input->left > 0; i++) {
        *link = make_node(input, &position);
        link = &(*link)->next;
    }
    return head;
}

// ---- operations -----------------------------------------------------------------------

struct Work {
    Input *input;
    DICOM_List *tree, *other;   // the second one is a source or a template
    DICOM_Root root;
    int written;   // times, since each looks at all groups that there may be
};

static DICOM_List *any_node(Work *work)
{
    DICOM_List *node = work->tree;
    for (unsigned int steps = work->input->below(32); steps > 0 && node != nullptr && node->next != nullptr; steps--)
        node = node->next;
    return node;
}

static void *handle(HWND, DICOM_Root *, DICOM_List *, void *user)
{
    return user;
}

static int give_image(HWND, char, unsigned int, char **, void *)
{
    return 0;
}

// The cursor at the first item of an attribute, whether there is one or not.
static void enter(Work *work)
{
    const DICOM_List *node = any_node(work);
    if (node == nullptr || work->root.Sequence_Depth >= MAX_SEQUENCE_DEPTH)
        return;
    DICOM_Attribute_Sequence_Start(nullptr, &work->root, node->group, node->element, node->flag, 0);
    for (unsigned int items = 1 + work->input->below(2); items > 0; items--)
        DICOM_Attribute_Item_Start(nullptr, &work->root, 0);
}

static void leave(Work *work)
{
    DICOM_Attribute_Sequence_Reset(nullptr, &work->root);
}

static void find(Work *work)
{
    const Known_Tag &tag = known_tags[work->input->byte() & 15];
    if (tag.group != GROUP_ITEM)
        DICOM_Attribute_Find(nullptr, &work->root, &work->tree, tag.group, tag.element);
}

static void get(Work *work)
{
    std::string group = as_text(work->input->bytes(4)), element = as_text(work->input->bytes(4));
    DICOM_Attribute_Get(nullptr, &work->root, work->tree, group.c_str(), element.c_str(), 0);
    DICOM_Attribute_Get(nullptr, &work->root, work->tree, ANY_TAG_NUMBER, work->input->word(), 0);
}

static void copy(Work *work)
{
    DICOM_Attribute_Copy(nullptr, &work->root, &work->tree, work->other);
}

static void insert(Work *work)
{
    if (work->other != nullptr)
        DICOM_Attribute_Insert(nullptr, &work->root, &work->tree, work->other, 0);
}

static void erase(Work *work)
{
    unsigned short group = work->input->word(), element = work->input->word();
    DICOM_Attribute_Delete(nullptr, &work->root, &work->tree, group, element);
    std::string pattern = as_text(work->input->bytes(4));
    DICOM_Attribute_Delete(nullptr, &work->root, &work->tree, pattern.c_str(), "*1");
}

static void remove_some(Work *work)
{
    DICOM_Attribute_Remove(nullptr, &work->tree, work->input->byte());
}

static void sort(Work *work)
{
    DICOM_Attribute_Sort(nullptr, &work->root, &work->tree);
}

static void assign(Work *work)
{
    leave(work);
    DICOM_Attribute_Assign_Info(nullptr, &work->root, work->other, work->tree);
}

static void parse(Work *work)
{
    leave(work);
    DICOM_Attribute_List_Group_Grow(0x0008, handle);
    DICOM_Attribute_List_Private_Grow("A", handle);
    DICOM_Attribute_List_SPI_Grow(0x0009, handle);
    DICOM_Attribute_Parse(nullptr, &work->root, work->tree, work);
}

static void complement(Work *work)
{
    leave(work);
    DICOM_Attribute_Complement(nullptr, &work->root, work->tree);
}

static void clean(Work *work)
{
    leave(work);
    DICOM_Attribute_Syntax(nullptr, &work->root, work->tree);
    DICOM_Attribute_Cleanup(nullptr, &work->root, work->tree);
}

static void process(Work *work)
{
    leave(work);
    unsigned short mask = work->input->word();
    DICOM_Postproc_Step_1(nullptr, &work->root, &work->tree, work->other, mask);
    DICOM_Postproc_Overwrite(nullptr, &work->root, &work->tree, work->other, mask);
    DICOM_Postproc_Step_2(nullptr, &work->root, work->tree, 0);
    DICOM_Postproc_Step_4(nullptr, &work->root, &work->tree, work->other);
    DICOM_Postproc_Step_5(nullptr, &work->root, work->tree);
    DICOM_Postproc_Verification(nullptr, &work->root, work->tree, work->other, 0);
}

static void show(Work *work)
{
    leave(work);
    DICOM_Attribute_Stool(nullptr, &work->root, work->tree, 3);
}

// Values that were left in their source are written as so many zero bytes: a host has fetched them before.
static bool holds_large_value(const DICOM_List *node)
{
    static const int LARGE = 1 << 16;
    for (; node != nullptr; node = node->next) {
        if (node->size > LARGE && node->data == nullptr)
            return true;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            if (holds_large_value(node->item[i]))
                return true;
    }
    return false;
}

static void write(Work *work)
{
    static const int MOST_WRITTEN = 2;
    if (holds_large_value(work->tree) || work->written++ == MOST_WRITTEN)
        return;
    static const char syntaxes[] = {0, 8, 9};
    char syntax = syntaxes[work->input->below(3)], *block = nullptr;
    DICOM_Flag_Seq_Size = static_cast<char>(work->input->below(2));
    DICOM_Flag_Elem_0000 = static_cast<char>(work->input->below(2));
    DICOM_Write_Image_Fct(give_image);
    DICOM_Write_Buffer(nullptr, syntax, work->tree, &block, nullptr);
    DICOM_Lib_Free(&block);
    DICOM_Write_Part10(nullptr, syntax, work->tree, &block);
    DICOM_Lib_Free(&block);
    DICOM_List2Stream(nullptr, syntax, work->tree, &block);
    DICOM_Lib_Free(&block);
}

typedef void (*Operation)(Work *work);

static const Operation operations[] = {enter, leave,  find,  get,        copy,  insert,  erase, remove_some,
                                       sort,  assign, parse, complement, clean, process, show,  write};

// ---- the run --------------------------------------------------------------------------

static DICOM_List *formatted(Input *input, int count, bool is_complemented)
{
    DICOM_List *chain = make_chain(input, count);
    DICOM_Root root = {};
    if (is_complemented)
        DICOM_Attribute_Complement(nullptr, &root, chain);
    DICOM_List *tree = DICOM_Attribute_Format(nullptr, chain);
    HOLDS((tree == nullptr) == (chain == nullptr));
    free_tree(chain);
    check_tree(tree);
    return tree;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char choice = input.byte(), count = input.byte();
    Fresh_Library library((choice & 0xE0) == 0xE0);
    write_scratch("values", std::string(2000, 'v'));   // what unread values are fetched from
    std::string path = scratch_folder() + "values";
    DICOM_Lib_File_Source = 1;
    DICOM_Lib_File_Name = path.c_str();
    Work work = {&input, nullptr, nullptr, {}, 0};
    if ((choice & 1) != 0)
        work.other = formatted(&input, input.byte() & 31, (choice & 2) != 0);
    bool is_long = (choice & 4) != 0;   // all of the input is one chain
    work.tree = formatted(&input, is_long ? MOST_NODES : count & 63, (choice & 8) != 0);
    for (int i = 0; i < MOST_STEPS && input.left > 0; i++)
        operations[input.byte() & 15](&work);
    free_tree(work.tree);
    free_tree(work.other);
    return 0;
}
