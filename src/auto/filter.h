// TFilter: a plain weighted filter whose taps fall off exponentially.
#pragma once

#include "auto/auto-export.h"

class FIBERTEST_AUTO_EXPORT TFilter
{
public:
    long K = 0;                  // number of taps
    double* Weights = nullptr;   // K weights summing to 1, owned

    explicit TFilter(int k = 0);
    virtual ~TFilter();
    TFilter(const TFilter&) = delete;
    TFilter& operator=(const TFilter&) = delete;

    // k of 0 or 1 drops the taps. Otherwise tap j (from 1) is
    // exp(log(1/8) / k * j), normalised to a sum of 1: the last tap weighs an
    // eighth of a virtual tap 0.
    void SetK(int k);
};
