// TSorBlockCRC: the "Cksum" block that closes a trace file.
#pragma once

#include <cstdint>

#include "sor/sor-block.h"
#include "sor/sor-export.h"

// In the file: "Cksum" and NUL (second edition), then the checksum (uint16).
// Written last, it stores the low 16 bits of the file's running checksum:
// CRC-16/CCITT-FALSE of every byte that went through the file before the
// value, the "Cksum" name included. On reading the value is kept and shown,
// never compared: other makers compute it differently, and a trace must load
// whatever they did.
class FIBERTEST_SOR_EXPORT TSorBlockCRC : public TSorBlock
{
public:
    std::uint16_t CRC = 0;

    TSorBlockCRC();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btCRC; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockCRC& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;
};
