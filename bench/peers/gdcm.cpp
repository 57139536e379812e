// gdcm, by its public interface: Reader, DataSet, Printer and Writer over streams.
#include <gdcmDataSet.h>
#include <gdcmDict.h>
#include <gdcmFile.h>
#include <gdcmGlobal.h>
#include <gdcmPrinter.h>
#include <gdcmReader.h>
#include <gdcmSequenceOfItems.h>
#include <gdcmTrace.h>
#include <gdcmWriter.h>

#include <istream>
#include <memory>
#include <sstream>

#include "bench/peers/library.h"
#include "bench/peers/null_stream.h"

static void prepare()
{
    gdcm::Trace::DebugOff();
    gdcm::Trace::WarningOff();
    gdcm::Trace::ErrorOff();
    gdcm::Global::GetInstance().GetDicts();   // reads the dictionary
}

// The bytes as they stand, so that no stringstream has to copy them.
class Memory_Buffer : public std::streambuf
{
public:
    Memory_Buffer(const char *bytes, size_t size)
    {
        char *start = const_cast<char *>(bytes);
        setg(start, start, start + size);
    }

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode) override
    {
        char *from = way == std::ios_base::beg ? eback() : way == std::ios_base::end ? egptr() : gptr();
        if (offset < eback() - from || offset > egptr() - from)
            return pos_type(off_type(-1));
        setg(eback(), from + offset, egptr());
        return pos_type(gptr() - eback());
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override
    {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }
};

static void *load(const Input_File &file)
{
    try {
        auto reader = std::make_unique<gdcm::Reader>();
        if (file.path != nullptr) {
            reader->SetFileName(file.path);
            return reader->Read() ? reader.release() : nullptr;
        }
        Memory_Buffer buffer(file.bytes, file.size);
        std::istream stream(&buffer);
        reader->SetStream(stream);
        return reader->Read() ? reader.release() : nullptr;
    } catch (const std::exception &) {
        return nullptr;
    }
}

static int64_t count(const gdcm::DataSet &set)
{
    int64_t found = 0;
    for (auto at = set.Begin(); at != set.End(); ++at) {
        found++;
        if (at->GetVR() != gdcm::VR::SQ)
            continue;
        gdcm::SmartPointer<gdcm::SequenceOfItems> sequence = at->GetValueAsSQ();
        if (sequence == nullptr)
            continue;
        for (auto item = sequence->Begin(); item != sequence->End(); ++item)
            found += count(item->GetNestedDataSet());
    }
    return found;
}

static int64_t walk(void *set)
{
    return count(static_cast<gdcm::Reader *>(set)->GetFile().GetDataSet());
}

static int64_t dump(void *set)
{
    Null_Buffer nothing;
    std::ostream out(&nothing);
    gdcm::Printer printer;
    printer.SetFile(static_cast<gdcm::Reader *>(set)->GetFile());
    printer.SetColor(false);
    printer.Print(out);
    return nothing.characters;
}

static int64_t write(void *set)
{
    try {
        gdcm::File &file = static_cast<gdcm::Reader *>(set)->GetFile();
        if (!file.GetHeader().GetDataSetTransferSyntax().IsEncapsulated())
            file.GetHeader().SetDataSetTransferSyntax(gdcm::TransferSyntax::ExplicitVRLittleEndian);
        std::ostringstream out;
        gdcm::Writer writer;
        writer.SetFile(file);
        writer.SetStream(out);
        writer.SetCheckFileMetaInformation(false);
        return writer.Write() ? static_cast<int64_t>(out.tellp()) : -1;
    } catch (const std::exception &) {
        return -1;
    }
}

static void release(void *set)
{
    delete static_cast<gdcm::Reader *>(set);
}

const Library library_gdcm = {"gdcm", prepare, load, walk, dump, write, release};
