// dcmtk, by its public interface: DcmFileFormat over a buffer stream, or over a file whose long values it leaves there.
#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdict.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcistrmb.h>
#include <dcmtk/dcmdata/dcitem.h>
#include <dcmtk/dcmdata/dcostrmb.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcsequen.h>
#include <dcmtk/dcmdata/dcxfer.h>
#include <dcmtk/oflog/oflog.h>

#include <memory>

#include "bench/peers/library.h"
#include "bench/peers/null_stream.h"

static const Uint32 LONGEST_VALUE = 1024;   // longer ones stay in the file

static void prepare()
{
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    dcmDataDict.rdlock();   // reads the dictionary
    dcmDataDict.rdunlock();
}

static void *load(const Input_File &file)
{
    auto set = std::make_unique<DcmFileFormat>();
    if (file.path != nullptr)
        return set->loadFile(file.path, EXS_Unknown, EGL_noChange, LONGEST_VALUE).good() ? set.release() : nullptr;
    DcmInputBufferStream stream;
    stream.setBuffer(file.bytes, static_cast<offile_off_t>(file.size));
    stream.setEos();
    set->transferInit();
    OFCondition result = set->read(stream, EXS_Unknown, EGL_noChange, LONGEST_VALUE);
    set->transferEnd();
    return result.good() ? set.release() : nullptr;
}

static int64_t count(DcmObject *container, bool is_item)
{
    int64_t found = 0;
    for (DcmObject *each = container->nextInContainer(nullptr); each != nullptr;
         each = container->nextInContainer(each)) {
        found += is_item;
        if (!each->isLeaf())
            found += count(each, !is_item);
    }
    return found;
}

static int64_t walk(void *set)
{
    return count(static_cast<DcmFileFormat *>(set)->getDataset(), true);
}

static int64_t dump(void *set)
{
    Null_Buffer nothing;
    std::ostream out(&nothing);
    static_cast<DcmFileFormat *>(set)->print(out, DCMTypes::PF_shortenLongTagValues);   // as dcmdump does
    return nothing.characters;
}

static int64_t write(void *set)
{
    DcmFileFormat *file = static_cast<DcmFileFormat *>(set);
    E_TransferSyntax syntax = file->getDataset()->getOriginalXfer();
    if (!DcmXfer(syntax).isEncapsulated())
        syntax = EXS_LittleEndianExplicit;
    size_t room = file->calcElementLength(syntax, EET_UndefinedLength) + 65536;
    std::unique_ptr<char[]> buffer(new char[room]);
    DcmOutputBufferStream stream(buffer.get(), static_cast<offile_off_t>(room));
    file->transferInit();
    OFCondition result = file->write(stream, syntax, EET_UndefinedLength, nullptr, EGL_noChange);
    file->transferEnd();
    return result.good() ? static_cast<int64_t>(stream.tell()) : -1;
}

static void release(void *set)
{
    delete static_cast<DcmFileFormat *>(set);
}

const Library library_dcmtk = {"dcmtk", prepare, load, walk, dump, write, release};
