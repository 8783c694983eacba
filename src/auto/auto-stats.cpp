// The global counters of events found by stage.
#include "auto/auto.h"

std::atomic<long> Event[3] = {0, 0, 0};
