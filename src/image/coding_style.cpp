#include "image/coding_style.h"

#include <algorithm>

namespace wbx {

namespace {

i32 subbandCount(const ComponentCoding& coding) {
  return 3 * coding.resolutions - 2;
}

void deriveFromFirst(ComponentCoding& coding) {
  auto& stepSize = coding.quantization.stepSize;
  const i32 exponent = stepSize[0] >> kExponentShift;
  const i32 mantissa = stepSize[0] & kMantissaMask;
  for (i32 i = 1; i < subbandCount(coding); ++i) {
    // One more for each resolution above the lowest.
    const i32 raised = exponent + (i + 2) / 3;
    stepSize[static_cast<size_t>(i)] = wrapTo<u16>((raised << kExponentShift) | mantissa);
  }
}

}  // namespace

void CodingStyle::inherit(const CodingStyle& main) {
  *this = main;
  for (ComponentCoding& coding : component) coding.cocSeen = coding.qccSeen = 0;
}

i32 CodingStyle::smallestResolutions() const {
  i32 smallest = 255;
  for (i32 c = 0; c < components; ++c) smallest = std::min<i32>(smallest, component[c].resolutions);
  return smallest;
}

bool CodingStyle::hasEnoughStepSizes() const {
  return std::all_of(component, component + components, [](const ComponentCoding& coding) {
    const Quantization& q = coding.quantization;
    return q.qntStepSizes >= (q.style == kScalarDerived ? 1 : subbandCount(coding));
  });
}

void CodingStyle::finishQuantization() {
  for (i32 c = 0; c < components; ++c) {
    if (component[c].quantization.style == kScalarDerived) deriveFromFirst(component[c]);
  }
}

}  // namespace wbx
