// TCRC: the 16-bit checksums of trace files.
#pragma once

#include "util/util-export.h"

// Both checksums run on an accumulator that the caller holds and never reset
// it, so a long stream can be fed in pieces. A size of 0 or below, or a null
// buffer, leaves the accumulator as it is.
class FIBERTEST_UTIL_EXPORT TCRC
{
public:
    // CRC-16, polynomial 0x1021, most significant bit first, no reflection and
    // no final inversion. From 0xFFFF this is CRC-16/CCITT-FALSE, the checksum
    // that closes a trace file; from 0 it is CRC-16/XMODEM.
    void get_crc_ccitt(unsigned short& crc, const char* data, int size) const;

    // CRC-16 with the reflected polynomial 0xA001, least significant bit first.
    void get_crc_16(unsigned short& crc, const char* data, int size) const;
};
