// RecordSpans: for each entry of a recording's node list, the stretch of time in which that
// entry is alive. The three lists run parallel to the node list they describe.
#pragma once

#include "host/Time.h"

#include <vector>

struct RecordSpans {
    std::vector<bool> singleSample;    // the span is one sample long
    std::vector<TimeValue> startTicks; // first tick of the span
    std::vector<TimeValue> endTicks;   // last tick of the span, inclusive

    void append(TimeValue start, TimeValue end, bool single) {
        startTicks.push_back(start);
        endTicks.push_back(end);
        singleSample.push_back(single);
    }
    void clear() {
        singleSample.clear();
        startTicks.clear();
        endTicks.clear();
    }
};
