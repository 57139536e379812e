// Where the bytes come from: small and large files, standard input, what is no file, and files that change.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <thread>

#include "tests/host_listing.h"
#include "tests/host_runs.h"

using namespace velmora_host;

static const int GUARD = 16;   // bytes behind a source that may be read

TEST(HostSource, HoldsFilesOfAnySizeWithGuardBytesBehind)
{
    Folder folder;
    const struct { size_t size; Source_Kind kind; } rows[] = {
        {0, SOURCE_HEAP}, {1, SOURCE_HEAP}, {100000, SOURCE_HEAP},
        {64 * 4096, SOURCE_MAPPED}, // ends with a page
        {64 * 4096 + 1, SOURCE_MAPPED}, {3 * 1024 * 1024, SOURCE_MAPPED},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.size);
        Bytes bytes(row.size, 'b');
        Source source;
        std::string error;
        ASSERT_TRUE(open_source(folder.write("file", bytes).c_str(), &source, &error)) << error;
        EXPECT_EQ(source.kind, row.kind);
        ASSERT_EQ(source.size, static_cast<int>(row.size));
        EXPECT_EQ(Bytes(source.bytes, row.size), bytes);
        for (int i = 0; i < GUARD; i++)
            EXPECT_EQ(source.bytes[source.size + i], 0);
        close_source(&source);
        EXPECT_EQ(source.bytes, nullptr);
    }
}

TEST(HostSource, RefusesWhatIsNoFileOrTooLarge)
{
    Folder folder;
    std::string large = folder.write("large", "x");
    ASSERT_EQ(truncate(large.c_str(), 2147483648), 0);
    ASSERT_EQ(truncate(folder.write("largest", "x").c_str(), 2147483647), 0);
    std::string closed = folder.write("closed", "x");
    chmod(closed.c_str(), 0);

    Source source;
    std::string error;
    EXPECT_FALSE(open_source((folder.path + "/none").c_str(), &source, &error));
    EXPECT_EQ(error, "no such file or folder");
    EXPECT_FALSE(open_source(folder.path.c_str(), &source, &error));
    EXPECT_EQ(error, "is a folder, not a file");
    EXPECT_FALSE(open_source(large.c_str(), &source, &error));
    EXPECT_EQ(error, "is larger than 2147483647 bytes (2 GiB - 1), the most that can be read: 2147483648 bytes");
    if (geteuid() != 0) {
        EXPECT_FALSE(open_source(closed.c_str(), &source, &error));
        EXPECT_EQ(error, "cannot be opened: Permission denied");
    }
    ASSERT_TRUE(open_source((folder.path + "/largest").c_str(), &source, &error)) << error;
    EXPECT_EQ(source.size, 2147483647);
    EXPECT_EQ(source.bytes[source.size], 0);
    close_source(&source);
}

TEST(HostSource, ReadsFromAPipe)
{
    Folder folder;
    std::string name = folder.path + "/pipe";
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    Bytes bytes(1000000, 'p');
    std::thread writer([&] {
        int pipe = open(name.c_str(), O_WRONLY);
        for (size_t at = 0; at < bytes.size();) {
            ssize_t done = write(pipe, bytes.data() + at, std::min<size_t>(bytes.size() - at, 70001));
            at += done > 0 ? static_cast<size_t>(done) : bytes.size();
        }
        close(pipe);
    });
    Source source;
    std::string error;
    EXPECT_TRUE(open_source(name.c_str(), &source, &error)) << error;
    writer.join();
    EXPECT_EQ(source.size, 1000000);
    close_source(&source);
}

TEST(HostSource, LivesOnWhenAFileIsMadeShorter)
{
    Folder folder;
    Bytes head = part10_head("1.2.840.10008.1.2.1"), values;
    for (unsigned short i = 0; i < 1000; i++)
        values += element({0x0009, static_cast<unsigned short>(0x1000 + i)}, "LT", Bytes(1000, 'v'));
    std::string name = folder.write("file", head + values);
    Source source;
    std::string error;
    ASSERT_TRUE(open_source(name.c_str(), &source, &error));
    EXPECT_EQ(missing_from(source), -1);
    ASSERT_EQ(truncate(name.c_str(), 8192), 0);
    EXPECT_EQ(source.bytes[200000], 0) << "was gone, and reads as zero";
    EXPECT_GE(missing_from(source), 8192);
    EXPECT_LE(missing_from(source), 200000);

    Loaded loaded(Bytes(source.bytes, static_cast<size_t>(source.size)));
    EXPECT_EQ(loaded.result, LOADED);
    EXPECT_EQ(loaded.set.elements, 11) << "those in the two pages that stayed";
    close_source(&source);
}

TEST(HostSource, LoadsAgainAndAgainWithoutRunningOut)
{
    Folder folder;
    std::string name =
        folder.write("file", part10_head("1.2.840.10008.1.2.1") + element({0x0042, 0x0011}, "OB", Bytes(300000, 'x')));
    for (int i = 0; i < 200; i++) {
        Data_Set set;
        std::string error;
        ASSERT_EQ(load_from_path(name.c_str(), Load_Options(), &set, &error), LOADED) << error;
        EXPECT_EQ(DICOM_Lib_File_Name, set.source.bytes);
        EXPECT_EQ(set.tree->next->next->next->data, nullptr) << "a large value stays in the source";
        release_data_set(&set);
        EXPECT_EQ(DICOM_Lib_File_Name, nullptr);
        release_data_set(&set);
    }
}
