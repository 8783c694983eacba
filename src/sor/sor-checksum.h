// Which convention, if any, the stored checksum of a trace file follows.
#pragma once

#include <cstdint>

#include "sor/sor-export.h"

// Makers differ in how they fill the "Cksum" block: CRC-16/CCITT-FALSE (from
// 0xFFFF) or CRC-16/XMODEM (from 0), over every byte before the value or
// only over the bytes before the block's "Cksum" name, or a 0 that was
// never computed. Reading never depends on the answer; it is shown to users
// who want to know whether a file was altered after it was saved.
enum class TSorChecksumConvention {
    NotFound,                // the file has no Cksum block where its Map says
    CcittFalseBeforeValue,   // what this library writes
    CcittFalseBeforeName,
    XmodemBeforeValue,
    XmodemBeforeName,
    NeverComputed,           // a stored 0 that matches none of the above
    Mismatch                 // a value that matches no known convention
};

struct TSorChecksumCheck
{
    TSorChecksumConvention convention = TSorChecksumConvention::NotFound;
    std::uint16_t stored = 0;        // the value in the file
    unsigned long valueOffset = 0;   // where the two bytes of the value stand
};

// Examines the bytes of a whole trace file. Never throws; a file whose Map
// cannot be read, or that has no Cksum block inside it, gives NotFound.
[[nodiscard]] FIBERTEST_SOR_EXPORT TSorChecksumCheck CheckStoredChecksum(const char* data, unsigned long size);

// A short English description of the convention, for reports.
[[nodiscard]] FIBERTEST_SOR_EXPORT const char* DescribeChecksumConvention(TSorChecksumConvention convention);
