// Frame assembly: from the element states of one evaluation to the object's Mesh.
//
// The reader's source mesh holds all elements end to end. prepareFrame locates every element's
// sample, loads the rows it needs and sorts the elements into shown, hidden (faces kept, with
// the hidden face flag) and deleted (faces taken out), noting which elements changed state
// since the previous frame. assembleFrame then writes the output mesh: a full copy of the source
// only when the topology changes (an element entered or left the deleted state, or the output
// was changed by someone else); otherwise vertices are rewritten in place and face flags only
// for the elements that changed. The remaining operations give per-element results to the
// object's other users; none of them applies the object's unit scale.
//
// Every operation that finds the reader without open data sets status 2, closes the reader and
// answers false.
#pragma once

#include "cachefile/wkCacheFrameTimes.h"
#include "cachefile/wkCacheReader.h"
#include "host/Matrix3.h"
#include "host/Mesh.h"
#include "playback/wkCacheElementState.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace WelkardTools {

// The reader holds parsed data: a header, an index and a version of at least 1.
bool hasOpenData(const wkCacheReader& reader);

// The clock's view of the reader's header: cacheStepSize, cacheFrameRate, cacheNumSamples
// (the clock's defaults without a header).
wkCacheTiming cacheTiming(const wkCacheReader& reader);

// locateSample for one element at its `time`, with the state's range settings; answers the
// element's interpolate field.
bool locateSample(const wkCacheReader& reader, std::int32_t element, wkCacheFrameState& state);

// The element's transform at its located place: its sample's, or the blend towards nextSample
// when it interpolates. Samples not in memory read as a default Matrix3. No scale.
Matrix3 elementTransform(const wkCacheReader& reader, std::int32_t element,
                         const wkCacheElementState& state);

// Locates one element, or all when `element` is negative, and loads the samples they need, each
// once. False for an element beyond the cache's, and for a sample that fails to load (the
// reader holds the status).
bool locateAndLoad(wkCacheReader& reader, wkCacheFrameState& state, std::int32_t element);

// Classifies the elements for this frame and fills the reader's frame change record.
bool prepareFrame(wkCacheReader& reader, wkCacheFrameState& state);

// Writes `out` for the element states in `state`; `markers` receives one matrix per hidden
// element in the viewport. `force` rebuilds the topology (a newly attached reader). On false
// the output is empty.
bool assembleFrame(wkCacheReader& reader, Mesh& out, std::vector<Matrix3>& markers,
                   wkCacheFrameState& state, wkCacheFrameTimes& frameTimes, bool force);

// After locateAndLoad(-1): each element's interpolated transform and its visibility byte at
// `sample`.
bool getElementTransforms(wkCacheReader& reader, std::vector<Matrix3>& out,
                          std::vector<std::int32_t>& visible, wkCacheFrameState& state);
// The same transforms from the sample fields as they stand, without locating or loading.
bool refreshElementTransforms(wkCacheReader& reader, std::vector<Matrix3>& out,
                              wkCacheFrameState& state);
// All elements at one sample, loading it unless every sample is in memory; false for a sample
// outside 0 to last.
bool getSampleTransforms(wkCacheReader& reader, std::vector<Matrix3>& out, std::int32_t sample);
// One mesh per element (made on first use), a copy of the element's mesh, or of its box in box
// mode, wherever the counts differ.
bool getElementMeshes(wkCacheReader& reader, std::vector<std::unique_ptr<Mesh>>& out,
                      wkCacheFrameState& state);
// The element's box through its transform at its located sample; false without a box.
bool updateElementBox(wkCacheReader& reader, Mesh& out, std::int32_t element,
                      wkCacheFrameState& state);

} // namespace WelkardTools
