// TSorBlockSpecial: a block this system does not know, carried through
// byte for byte.
#pragma once

#include <cstdint>
#include <vector>

#include "sor/sor-block.h"
#include "sor/sor-export.h"

// Made for every Map entry whose name is not one of ours, sized by the Map.
// Read takes the whole block raw from its first byte, the name included, so
// that Write gives it back unchanged without knowing its format.
class FIBERTEST_SOR_EXPORT TSorBlockSpecial : public TSorBlock
{
public:
    std::int32_t Size = 0;     // bytes of the block, as the Map says
    std::vector<char> Data;    // the block's bytes, exactly Size of them after a read
    TString ID;                // the block's name, from the Map

    TSorBlockSpecial();
    explicit TSorBlockSpecial(std::int32_t size);

    [[nodiscard]] bool IsEmpty() const override { return Size == 0; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btSpecial; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 65099; }
    void Assign(const TSorBlockSpecial& other);
    // Reads Size raw bytes. When the file holds fewer, the read is short:
    // Status fsEndOfFile, and Size becomes what there was.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;
};
