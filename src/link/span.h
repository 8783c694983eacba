// The span of a trace: the part of the fibre between the begin and end marks
// stored with the trace, its position, length, loss and return loss.
#pragma once
#include "link/link-export.h"
#include "link/optional-double.h"

class TSorData;

// The span's begin as one-way time (100 ps). Mark types: 1 a time, 3 the
// index of a key event; 0, 2 and 4 mark no begin.
FIBERTEST_LINK_EXPORT OptionalDouble GetSpanBeginOwt(const TSorData& data);
// The span's end as one-way time. Mark types: 2 a time before the last
// event, 4 an event counted from the last; 0, 1 and 3 mark no end. Needs at
// least two key events.
FIBERTEST_LINK_EXPORT OptionalDouble GetSpanEndOwt(const TSorData& data);
// The same in km.
FIBERTEST_LINK_EXPORT OptionalDouble GetSpanBeginPos(const TSorData& data);
FIBERTEST_LINK_EXPORT OptionalDouble GetSpanEndPos(const TSorData& data);
// End minus begin, km.
FIBERTEST_LINK_EXPORT OptionalDouble CalcSpanLength(const TSorData& data);
// Loss in dB from the begin event with its section to the end event with its
// loss; only for a span marked by events at both ends.
FIBERTEST_LINK_EXPORT OptionalDouble CalcSpanTotalLoss(const TSorData& data);
// Optical return loss in dB between the span's ends.
FIBERTEST_LINK_EXPORT OptionalDouble CalcSpanTotalOrl(const TSorData& data);
