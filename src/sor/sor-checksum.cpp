#include "sor/sor-checksum.h"

#include "sor/sor-block-map.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"
#include "util/crc.h"

namespace {

std::uint16_t crcOver(std::uint16_t start, const char* data, unsigned long size)
{
    unsigned short crc = start;
    TCRC checksum;
    while (size > 0) {
        const int piece = size > 0x40000000ul ? 0x40000000 : static_cast<int>(size);
        checksum.get_crc_ccitt(crc, data, piece);
        data += piece;
        size -= static_cast<unsigned long>(piece);
    }
    return crc;
}

} // namespace

TSorChecksumCheck CheckStoredChecksum(const char* data, unsigned long size)
{
    TSorChecksumCheck check;
    if (data == nullptr || size == 0)
        return check;
    TSorFile file(data, size);
    TSorBlockMap map;
    try {
        map.Read(&file);
    } catch (const TSorException&) {
        return check;
    }
    if (file.Status != fsOk && file.Status != fsEndOfFile)
        return check;
    // The Map's sizes place every block; find where the Cksum block ends.
    unsigned long position = static_cast<unsigned long>(static_cast<long>(map.Size));
    for (int i = 0; i < map.Entries.count; ++i) {
        const TSorBlockMapBlockInfo* entry = map.Entries.data[i];
        if (entry == nullptr || entry->Size < 1)
            continue;
        const unsigned long start = position;
        position += static_cast<unsigned long>(entry->Size);
        if (!(entry->ID == "Cksum"))
            continue;
        if (position > size || position < start + 2)
            return check;
        check.valueOffset = position - 2;
        const auto* bytes = reinterpret_cast<const unsigned char*>(data);
        check.stored = static_cast<std::uint16_t>(bytes[position - 2] | (bytes[position - 1] << 8));
        // A block of the second edition begins with its name.
        const unsigned long beforeName = start;
        const std::pair<TSorChecksumConvention, std::uint16_t> candidates[] = {
            {TSorChecksumConvention::CcittFalseBeforeValue, crcOver(0xFFFF, data, check.valueOffset)},
            {TSorChecksumConvention::CcittFalseBeforeName, crcOver(0xFFFF, data, beforeName)},
            {TSorChecksumConvention::XmodemBeforeValue, crcOver(0x0000, data, check.valueOffset)},
            {TSorChecksumConvention::XmodemBeforeName, crcOver(0x0000, data, beforeName)},
        };
        for (const auto& [convention, value] : candidates)
            if (value == check.stored) {
                check.convention = convention;
                return check;
            }
        check.convention =
            check.stored == 0 ? TSorChecksumConvention::NeverComputed : TSorChecksumConvention::Mismatch;
        return check;
    }
    return check;
}

const char* DescribeChecksumConvention(TSorChecksumConvention convention)
{
    switch (convention) {
    case TSorChecksumConvention::NotFound:
        return "no checksum block";
    case TSorChecksumConvention::CcittFalseBeforeValue:
        return "valid: CRC-16/CCITT-FALSE of all bytes before the value";
    case TSorChecksumConvention::CcittFalseBeforeName:
        return "valid: CRC-16/CCITT-FALSE of the bytes before the Cksum block";
    case TSorChecksumConvention::XmodemBeforeValue:
        return "valid: CRC-16/XMODEM of all bytes before the value";
    case TSorChecksumConvention::XmodemBeforeName:
        return "valid: CRC-16/XMODEM of the bytes before the Cksum block";
    case TSorChecksumConvention::NeverComputed:
        return "not computed (stored 0)";
    case TSorChecksumConvention::Mismatch:
        break;
    }
    return "not valid under any known convention";
}
