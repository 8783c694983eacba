// TSorBlockKeyEvents: the "KeyEvents" block, the table of events found on a
// trace; TSorBlockKeyEvents1E: one event of it.
#pragma once

#include <cstdint>

#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "util/lu-array.h"

// One event. In the file, with no name and no revision of its own (it reads
// and writes with the block's): EN, EPT, ACI, EL, ER, EC, LMT, ML0 to ML4
// (revision 200 on), CMT.
class FIBERTEST_SOR_EXPORT TSorBlockKeyEvents1E : public TSorBlock
{
public:
    std::int16_t EN = 1;       // event number, from 1
    std::int32_t EPT = 0;      // event propagation time, one-way time in 100 ps
    std::int16_t ACI = 0;      // attenuation coefficient of the section before the event, 0.001 dB/km
    std::int16_t EL = 0;       // event loss, 0.001 dB, clipped to the 16 bits
    std::int32_t ER = 0;       // event reflectance, 0.001 dB
    TString EC;                // event code, fixed text of 6: kind ("0", "1", "2"), then e.g. "F9999"
    TString LMT;               // loss measurement technique, fixed text of 2: "2P" or "LS"
    std::int32_t ML0 = 0;      // marker locations, one-way time in 100 ps; second edition only:
    std::int32_t ML1 = 0;      //   start and end of the section before the event,
    std::int32_t ML2 = 0;      //   start and end of the section after it,
    std::int32_t ML3 = 0;
    std::int32_t ML4 = 0;      //   the reflective peak (0 while not known)
    TString CMT;               // comment
    // The loss without the 16-bit clipping of EL, 0.001 dB. Read sets it to
    // EL; it is not stored in the file.
    std::int32_t FullLoss = 0;

    TSorBlockKeyEvents1E();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btKeyEvents1E; }
    void Assign(const TSorBlockKeyEvents1E& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;
};

// In the file: the name (second edition), TNKE, TNKE events at the block's
// revision, then EEL, ELMP1, ELMP2, ORL, RLMP1, RLMP2. The block is never
// empty, so it is written even without events.
//
// Other blocks refer to events by number; whoever adds or removes an event
// tells them through OnKeyEventAdd, OnKeyEventDel and OnKeyEventsClear,
// which this block answers by renumbering.
class FIBERTEST_SOR_EXPORT TSorBlockKeyEvents : public TSorBlock
{
public:
    std::int32_t EEL = 0;       // end-to-end loss, 0.001 dB
    std::uint16_t ORL = 0;      // optical return loss, 0.001 dB
    std::int16_t TNKE = 0;      // total number of key events; kept equal to Events.count by its users
    TLuArray<TSorBlockKeyEvents1E> Events;  // owned, in order along the fiber
    std::int32_t ELMP1 = 0;     // end-to-end loss marker 1, one-way time in 100 ps
    std::int32_t ELMP2 = 0;     // end-to-end loss marker 2, one-way time in 100 ps
    std::int32_t RLMP1 = 0;     // return loss marker 1, one-way time in 100 ps
    std::int32_t RLMP2 = 0;     // return loss marker 2, one-way time in 100 ps

    TSorBlockKeyEvents();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btKeyEvents; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockKeyEvents& other);
    // A negative TNKE throws the bad-data TSorException. A TNKE that the rest
    // of the file cannot hold ends the read as a short read (Status
    // fsEndOfFile) before anything is allocated; events cut off by the end of
    // the file end the table, the one that ran into the end included. TNKE
    // then counts what was read.
    void Read(TSorFile* file) override;
    // Every event goes out at the block's revision. TNKE is set to the
    // number of events first, so the count and the records always agree.
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    // Renumbers EN from 1 along the array.
    void ENSync();
    // An event was inserted at, or removed from, the 0-based place `e`:
    // renumber.
    void OnKeyEventAdd(int e);
    void OnKeyEventDel(int e);
    // The table was emptied; nothing here refers to events.
    void OnKeyEventsClear();
};
