// Private to the auto filter: the working constants and state of one walk.
#pragma once

class TSorData;
class TSorFilter;
struct TFEvent;

namespace autofilter {

struct Walk
{
    long n = 0;            // points
    float nfLog = 0.0f;    // noise floor, dB
    float nfLin = 0.0f;    // the same in linear power
    float dbPt = 0.0f;     // fiber loss per point, dB
    long ghostSpan = 0;    // points of 18 m
    long win1 = 1;
    long win2 = 1;
    long win3 = 1;
    long pw = 1;           // pulse plus receiver fall, points
    long pw2 = 3;
    long rise = 1;         // points of the receiver's rise
    float satLin = 0.0f;   // linear level of saturation
    long last = 0;         // last point of the walk proper
    float polarBegin = 0.0f;
    float refLin = 0.0f;   // linear level of the fiber a third of the way in
    long start = 0;
    long front = 0;        // point of the instrument's front offset, 0 for none
    bool startRising = false;  // the walk starts inside the launch's rise (state 1)
    bool startLaunch = false;  // a plain launch stands at `start` (found at the front offset)
    long g = 0;            // the G flag (see AutoFilterResultData)
    long sens = 0;         // restarts so far
    // thresholds at the present point
    float t1 = 0.0f;
    float t3 = 0.0f;
    float tf = 0.0f;
    float tf2 = 0.0f;
};

// The walk proper with the end search; answers the event count.
long RunWalk(TSorFilter& f, TSorData* sor, Walk& w, TFEvent* events, short* widths);

// The end search, the closing events and the removal of ghosts; `count`
// is updated.
void FinishEvents(TSorFilter& f, TSorData* sor, const Walk& w, TFEvent* events, long& count);

// Linear power under a level fall of `db` over `points` points.
float FiberFactor(float dbPerPoint, long points);

}  // namespace autofilter
