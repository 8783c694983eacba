// TSorBlockAUXEvents: the proprietary block of deviation figures per event;
// TSorBlockAUXEvents1E: one of its events.
#pragma once

#include <cstdint>
#include <vector>

#include "sor/sor-block.h"
#include "sor/sor-export.h"

// One event, a record without a name of its own. In the file: EN, EL
// (int16), EC (6 bytes fixed text), LMT (2 bytes fixed text), ML0..ML2
// (int32), CMT (text), and from revision 201 on dCT and dLT (uint16).
class FIBERTEST_SOR_EXPORT TSorBlockAUXEvents1E : public TSorBlock
{
public:
    std::int16_t EN = 1;       // event number, renumbered 1, 2, 3, ... on writing
    std::int16_t EL = 0;       // event loss, 0.001 dB
    TString EC = "GU9999";     // event code, 6 characters
    TString LMT = "2P";        // loss measurement technique: "2P" two-point, "LS" least squares
    std::int32_t ML0 = 0;      // markers, one-way time in 100 ps from the user offset
    std::int32_t ML1 = 0;
    std::int32_t ML2 = 0;
    TString CMT = " ";         // comment
    std::uint16_t dCT = 0;     // deviation, 0.001 units (revision 201 on)
    std::uint16_t dLT = 0;     // deviation, 0.001 units (revision 201 on)

    // Bytes of the smallest record in the file: an empty comment, no deviations.
    static constexpr unsigned long MinRecordBytes = 2 + 2 + 6 + 2 + 3 * 4 + 1;

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btAUXEvents1E; }
    void Assign(const TSorBlockAUXEvents1E& other);
    // Reads at the file's position in the form of RevisionNo; a null file reads nothing.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;
};

// The "AUXEvents" block. In the file: the name (second edition), TNE
// (int16), then TNE events in the block's revision.
class FIBERTEST_SOR_EXPORT TSorBlockAUXEvents : public TSorBlock
{
public:
    std::int16_t TNE = 0;                       // number of events, kept equal to Events.size()
    std::vector<TSorBlockAUXEvents1E> Events;   // in file order

    TSorBlockAUXEvents();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btAUXEvents; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockAUXEvents& other);
    // A negative TNE reads no events; one that the rest of the file cannot
    // hold ends as a short read with none.
    void Read(TSorFile* file) override;
    // Renumbers the events 1, 2, 3, ... and writes them in the block's revision.
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    // Resizes to `n` events (negative: none); new ones have the defaults.
    void SetTNE(std::int16_t n);
    // Inserts at `pos` (cut to 0..TNE) and keeps TNE in step.
    void InsEvent(const TSorBlockAUXEvents1E& event, int pos);
    void AddEvent(const TSorBlockAUXEvents1E& event) { InsEvent(event, TNE); }
    // No effect for an index outside the events.
    void DelEvent(int pos);

    // dCT / dLT of event i over 1000.0; -1.0 for an index outside the events.
    [[nodiscard]] double GetdCT(int i) const;
    [[nodiscard]] double GetdLT(int i) const;
    // Store trunc(v * 1000.0 + 0.5), kept within 0..65535; no effect for an
    // index outside the events.
    void SetdCT(int i, double v);
    void SetdLT(int i, double v);

private:
    [[nodiscard]] bool has(int i) const { return i >= 0 && i < TNE && static_cast<std::size_t>(i) < Events.size(); }
};
