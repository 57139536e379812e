// A node with a value, and the rings of values emptied after each test.
#ifndef VELMORA_TESTS_READ_NODE_H
#define VELMORA_TESTS_READ_NODE_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "tests/support/bytes.h"
#include "tree/Velmora_DICOM.h"

// A node of the host's, whose value is a block of its exact size.
struct Node : DICOM_List {
    Node(unsigned short node_vr, const Bytes &value, unsigned char node_syntax = SYNTAX_EXPLICIT) : DICOM_List()
    {
        group = 0x0008;
        element = 0x0018;
        vr_explicit = node_vr;
        syntax = node_syntax;
        size = static_cast<int>(value.size());
        data = static_cast<char *>(malloc(value.size() + (value.empty() ? 1 : 0)));
        memcpy(data, value.data(), value.size());
        vm = 99;
    }
    ~Node()
    {
        free(data);
    }
    Node(const Node &) = delete;
};

class Values : public testing::Test
{
  protected:
    ~Values()
    {
        NEMA_Value_Cleanup();
    }
};

#endif
