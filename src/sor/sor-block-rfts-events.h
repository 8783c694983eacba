// TSorBlockRFTSEvents: the "RFTSEvents" block, the result of comparing a
// trace with its base trace, deviation by deviation and event by event.
#pragma once

#include <cstdint>
#include <cstdio>

#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "util/lu-array.h"
#include "util/t-string.h"

// How far one measured value lies from the base trace, with what was made
// of it. In the file two uint16 values: Flags and Deviation (4 bytes).
// Read and Write throw the null-pointer TSorException for a null file.
class FIBERTEST_SOR_EXPORT TShortDeviation : public TSorBlock
{
public:
    std::uint16_t Flags = 0;      // bit 0 absolute, bit 1 compared, bit 2 threshold exceeded
    std::uint16_t Deviation = 0;  // 0.001 dB, signed in use (see GetDeviation)

    enum : std::uint16_t { AbsoluteFlag = 1u << 0, ComparedFlag = 1u << 1, ExceededFlag = 1u << 2 };

    TShortDeviation() = default;

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btShortDeviation; }
    void Assign(const TShortDeviation& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] bool IsAbsolute() const { return (Flags & AbsoluteFlag) != 0; }
    void MakeAbsolute(bool on) { setFlag(AbsoluteFlag, on); }
    [[nodiscard]] bool IsCompared() const { return (Flags & ComparedFlag) != 0; }
    void MakeCompared(bool on) { setFlag(ComparedFlag, on); }
    [[nodiscard]] bool IsExceeded() const { return (Flags & ExceededFlag) != 0; }
    void MakeExceeded(bool on) { setFlag(ExceededFlag, on); }
    [[nodiscard]] short GetDeviation() const { return static_cast<short>(Deviation); }
    void SetDeviation(short value) { Deviation = static_cast<std::uint16_t>(value); }

private:
    void setFlag(std::uint16_t bit, bool on) { Flags = static_cast<std::uint16_t>(on ? (Flags | bit) : (Flags & ~bit)); }
};

// The comparison result of one key event. In the file LT, RT, CT, DT and
// Flags (uint16), 18 bytes; PT lives in memory only, never stored.
class FIBERTEST_SOR_EXPORT TSorBlockRFTSEvents1E : public TSorBlock
{
public:
    TShortDeviation LT;
    TShortDeviation RT;
    TShortDeviation CT;
    TShortDeviation PT;     // not stored in the file
    TShortDeviation DT;
    std::uint16_t Flags = 0;  // bit 0 monitored, 1 new (not in the base), 2 failed, 3 fiber break

    enum : std::uint16_t { MonitoredFlag = 1u << 0, NewFlag = 1u << 1, FailFlag = 1u << 2, FiberBreakFlag = 1u << 3 };

    // Bytes of one event in the file.
    static constexpr unsigned long FileSize = 18;

    TSorBlockRFTSEvents1E() = default;

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btRFTSEvents1E; }
    void Assign(const TSorBlockRFTSEvents1E& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] bool IsMonitored() const { return (Flags & MonitoredFlag) != 0; }
    void MakeMonitored(bool on) { setFlag(MonitoredFlag, on); }
    [[nodiscard]] bool IsNew() const { return (Flags & NewFlag) != 0; }
    void MakeNew(bool on) { setFlag(NewFlag, on); }
    [[nodiscard]] bool IsFail() const { return (Flags & FailFlag) != 0; }
    void MakeFail(bool on) { setFlag(FailFlag, on); }
    [[nodiscard]] bool IsFiberBreak() const { return (Flags & FiberBreakFlag) != 0; }
    void MakeFiberBreak(bool on) { setFlag(FiberBreakFlag, on); }

private:
    void setFlag(std::uint16_t bit, bool on) { Flags = static_cast<std::uint16_t>(on ? (Flags | bit) : (Flags & ~bit)); }
};

// In the file:
//   "RFTSEvents" and NUL (revision above 199)
//   BaseSorName, LevelName, MonitorVersion (texts), Flags (int16),
//   TNRFTSE (uint16), TNRFTSE events (18 bytes each),
//   EELD (4 bytes) from revision 202, MonitorResult (int32) from revision 204
// Below revision 201 the block exists in name only. The events run in step
// with KeyEvents, index for index; TNRFTSE always equals their count.
class FIBERTEST_SOR_EXPORT TSorBlockRFTSEvents : public TSorBlock
{
public:
    TString BaseSorName;               // file name of the base trace
    TString LevelName;                 // the monitoring level compared against; empty: no result
    TString MonitorVersion;            // version of the comparing software
    std::int16_t Flags = 0;            // bit 2: the comparison failed
    std::uint16_t TNRFTSE = 0;         // number of events
    TLuArray<TSorBlockRFTSEvents1E> Events;  // owned, never null entries
    TShortDeviation EELD;              // end-of-link deviation; revision 202 on
    std::int32_t MonitorResult = 0;    // overall verdict of the monitor; revision 204 on

    enum : std::uint16_t { FailFlag = 1u << 2 };

    // "RFTSEvents", revision 209, no events.
    TSorBlockRFTSEvents();

    // A result without a level name is no result, whatever its events.
    [[nodiscard]] bool IsEmpty() const override { return LevelName.length == 0; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btRFTSEvents; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockRFTSEvents& other);
    // Starts from the defaults. Throws the null-pointer TSorException for a
    // null file. A count beyond what the file can hold ends like a short read.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] bool IsFail() const { return (Flags & FailFlag) != 0; }
    void MakeFail(bool on);

    [[nodiscard]] unsigned short GetTNRFTSE() const { return TNRFTSE; }
    // Resizes the events; new places get default events.
    void SetTNRFTSE(unsigned short n);
    // By the array's rule: null without events, the last one past the end.
    [[nodiscard]] TSorBlockRFTSEvents1E* GetEvent(int index) const { return Events[index]; }
    // A copy of `event` at `index` (clamped to the array).
    void InsertEvent(const TSorBlockRFTSEvents1E& event, int index);
    // No effect for an index outside the array.
    void DeleteEvent(int index);
    // Drops the events; names, flags and results stay.
    void Clear();

    // Key event housekeeping; nothing happens while the block is empty.
    // Key event `index` was added: a default event is inserted there.
    void OnKeyEventAdd(int index);
    // Key event `index` was removed: the event there is dropped.
    void OnKeyEventDel(int index);
    // All key events were removed: Clear().
    void OnKeyEventsClear();

private:
    void syncCount() { TNRFTSE = static_cast<std::uint16_t>(Events.count); }
};
