// TAuto: the automatic analysis of a trace, from raw samples to the key-event table.
#pragma once

#include <atomic>

#include "auto/auto-export.h"
#include "auto/thresholds.h"
#include "util/lu-array.h"
#include "util/t-string.h"

class TSorData;
class TIni;
class TEventLine;
class TSorBlockKeyEvents1E;
struct TFEvent;
struct AutoFilterResultData;

// Events found by stage over all runs of all objects: [0] the filter's events,
// [1] the big and noise splices, [2] the splices of the line building. Only
// counted, never read by the analysis; atomic so that parallel runs stay clean.
FIBERTEST_AUTO_EXPORT extern std::atomic<long> Event[3];

// Commands of TAuto::ServiceFunction.
enum TCmdASF : int
{
    ASF_Analysis = 0,         // AnalysisSorData(args[0], args[1])
    ASF_AnalysisEnds = 1,     // the same, then keep only the first and the last event
    ASF_Compare = 2,          // comparison with a baseline (not available in this build)
};

// One analysis at a time; one object and one document serve one thread.
// Units: points are `long` indices, times in owt (100 ps), distances in km,
// levels in dB on the one-way scale.
class FIBERTEST_AUTO_EXPORT TAuto
{
public:
    // Stage switches of Flags.
    static constexpr long FlagBigSplices = 2;     // SearchBigSplices between filter events
    static constexpr long FlagSpliceEvent = 4;    // RefAutoSearchSpliceEvent inside the line building
    static constexpr long FlagWeakSplices = 8;    // SearchWeakSplices (needs FlagBigSplices too)
    static constexpr long FlagNoiseSplices = 16;  // SearchNoiseSplices
    static constexpr long FlagNoisyMask = 11;     // what a noisy trace leaves on, for the object's life

    long Points = 0;            // number of points
    double LineLossFloor = 0.0; // floor of the slope limit of the second splice pass
    double LossKm = 0.0;        // fiber attenuation, dB/km
    double MaxDbKm = 20.0;      // largest believable attenuation, dB/km
    double DbOnOwt = 0.0;       // receiver fall rate, dB per owt
    double Spacing = 0.0;       // owt per point
    double RefPower = 0.0;      // peak height of the reflectance threshold
    double Polar = 0.0;         // working polarisation noise, dB
    double AvgWidth = 0.0;      // mean width of reflective events, points
    double Fall15 = 0.0;        // owt of a 1.5 dB receiver fall
    long Pw0 = 0;               // pulse, points
    long Pw1 = 0;               // pulse plus one fall, points
    long Pw3 = 0;               // pulse plus three falls, points
    float KmPerPoint = 0.0f;
    float DbPerPoint = 0.0f;    // fiber loss per point, dB
    float* Linf = nullptr;      // linear trace, owned by the document

    // Per-run counters of reflective events: ReflStats[0][1] counts them,
    // ReflStats[1][1] sums their widths (points), ReflGrades sums their
    // negated grades.
    long ReflStats[2][2] = {{0, 0}, {0, 0}};
    float ReflGrades = 0.0f;

    TString Comment;                 // stays empty
    TString Version = "v160216";     // analysis version

    TTH th;                          // thresholds in force

    // Results of the last run.
    double LBeg = 0.0;          // km; written by the end-of-fiber search only
    double Lend = 0.0;          // km of the end of the fiber
    double LFirst = 0.0;        // km of the first point of the fiber
    double NF = 0.0;            // noise level, dB
    double Refl1 = 0.0;         // level of the first reflection ("1Refl")
    double Refl1Owt = 0.0;      // owt of that peak
    double SpliceEnd = 0.0;     // Splice of the last line
    double Dz05 = 0.0;          // dead zone at 0.5 dB, km
    double Dz01 = 0.0;          // dead zone at 0.1 dB, km
    double P0 = 0.0;            // launch level
    double PEnd = 0.0;          // level after the last accepted event
    double DR = 0.0;            // dynamic range
    double Loss = 0.0;          // total loss

    long Flags = 23;
    TLuArray<TEventLine, TEventLine*>* Lines = nullptr;  // owned; the line sections in order
    TSorData* Sor = nullptr;                             // the document; not owned

    // Working values of a run.
    double PulseOwt = 0.0;      // owt of the pulse (widened on a filtered trace)
    float TPlus = 0.02f;        // sensitivity of the filtered path
    float TMinus = -0.02f;
    double BaseFault = 0.0;     // fault the fiber shows anyway, added by GetFault; 0 unless a caller sets it

    TAuto();
    ~TAuto();
    TAuto(const TAuto&) = delete;
    TAuto& operator=(const TAuto&) = delete;

    // ---- entries ----
    // Analysis with the thresholds the document holds; `rfts` non-zero would
    // first set the automatic monitoring thresholds (not available here).
    int Automat(TSorData* sor, int rfts);
    // Analysis with `th`, or with defaults plus the document's thresholds.
    int AnalysisSorData(TSorData* sor, TTH* th);
    // 0: AnalysisSorData(args[0], args[1]); 1: the same, then only the first
    // and last events are kept. Returns 1 (0 for the unavailable command 2).
    int ServiceFunction(TCmdASF cmd, long& arg, void** args);
    // Debugging INI of the lines and results.
    void Damp(const char* path);
    void Damp(TIni* ini);

    // ---- the frame ----
    int Calculate();
    long ShortAnalysis();
    void SelectSplices(double minLoss);
    void AddSorEvent();
    void SetReflection(TSorBlockKeyEvents1E* event, double peak, double base, char type, TSorData* sor);
    void ArrangeShortEventsMarkers();
    void SetMaxDbKm(double x);
    bool IsNormACI(double a, double b) const;

    // ---- event lines ----
    TEventLine* CreateEventLin2(TEventLine* prev, long beg, long end, long win, float slope, long tail, char type);
    TEventLine* CreateEventLin(TEventLine* prev, long beg, long end, long next, long win, float slope, float a,
                               float b);
    void LossSquare(TSorData* sor, TEventLine& line, long n);
    void LossfSquare(TSorData* sor, TEventLine& line);
    void GetMaxRef(long p, long n, TEventLine* line);
    void SetLinesSplice();
    int DeleteShortSplices(int index, float span, float tPlus, float tMinus, int flag);
    // Appends `line`; a line typed '_' becomes 'P' or 'N' by the Splice of `prev`.
    void AddEventLin(TEventLine* line, TEventLine* prev);

    // ---- splice searches between filter events ----
    // Each returns the point of the next find in beg..end (0 for none) and
    // fills `found`; `value` carries the size of the last find.
    long SearchBigSplices(long beg, long end, long wnd, TFEvent& prev, float& value, TFEvent& found,
                          AutoFilterResultData* res);
    long SearchNoiseSplices(long beg, long end, long wnd, TFEvent& prev, float& value, TFEvent& found,
                            AutoFilterResultData* res);
    long SearchWeakSplices(long beg, long end, long wnd, TFEvent& prev, float& value, TFEvent& found,
                           AutoFilterResultData* res);

    // ---- noise model ----
    // Level over the noise at which a fault f (dB) shows in n averaged points.
    static double RequirePower(double f, double n);
    // Smallest fault visible at p dB over the noise with n points.
    static double RequireFault(double p, double n);
    // RequireFault at the level p plus the fault the fiber shows anyway.
    double GetFault(double p, double n) const;
    // Points needed to see a fault f at p dB over the noise.
    static long RequireAvgPin(double p, double f);
    // RequireAvgPin at the level p, excess over 20 counted half, held to nMin..nMax.
    long SetAvgPin(double p, double f, long nMin, long nMax) const;
    // Polarisation noise typical of the pulse.
    double GetTypPol() const;
    // Slope (dB per point) and polarisation noise of beg..end; 0 when the
    // stretch can't be measured (too short, or below NF + 3 dB).
    int GetPol(long beg, long end, float& slope, float& pol);
    // The same around a spot p with n points, from at most `beg`.
    int GetPol(long p, long n, long beg, float& slope, float& pol);

private:
    double LevelAt(long i) const;
    double KmOf(long i) const;
    long PointOfKm(double km) const;
    double OwtOfKm(double km) const;
    void ClearLines();
};
