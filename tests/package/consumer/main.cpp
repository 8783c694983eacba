// A program outside the project that uses the installed library.
#include <fibertest/sor/sor-block-general-parameters.h>
#include <fibertest/sor/sor-data.h>
#include <fibertest/sor/sor-exception.h>
#include <fibertest/sor/sor-file.h>
#include <fibertest/util/crc.h>
#include <fibertest/util/md5.h>

#include <cstdio>
#include <cstring>

int main()
{
    unsigned short crc = 0xFFFF;
    TCRC().get_crc_ccitt(crc, "123456789", 9);
    const std::string digest = TMd5::GetStringMd5Hash("abc");
    try {
        throw TSorException(TSorException::BadData);
    } catch (const CommonException& e) {
        if (std::strcmp(e.what(), "Bad data exception") != 0)
            return 1;
    }
    // A trace through the document, in memory.
    TSorData trace;
    trace.GenParams->CID = "consumer";
    TSorFile out("", "m");
    trace.Write(&out);
    TSorData back;
    TSorFile in(out.GetData(), out.GetDataSize());
    back.Read(&in);
    if (in.Status != 0 || std::strcmp(back.GenParams->CID.data, "consumer") != 0)
        return 1;
    std::printf("crc %04x md5 %02x%02x\n", crc, static_cast<unsigned char>(digest[0]),
                static_cast<unsigned char>(digest[1]));
    return 0;
}
