#include "kernel_cases.h"

namespace wbx {
namespace {

using test::forEachLength;
using test::forEachSet;
using test::Guarded;
using test::Values;

// Puts one part of each pixel, sample `place` of as many as fit, in its place.
template <class Part>
std::vector<u8> withParts(std::vector<u8> pixels, const std::vector<Part>& parts, i32 place,
                          size_t pixelBytes) {
  for (size_t i = 0; i < parts.size(); ++i) {
    std::memcpy(&pixels[i * pixelBytes + static_cast<size_t>(place) * sizeof(Part)], &parts[i],
                sizeof(Part));
  }
  return pixels;
}

// A kernel that writes `parts` to place number `place` of each pixel and leaves the rest.
template <class Part, class Store>
void checkStore(Values& values, i32 count, size_t pixelBytes, const Store& store) {
  const auto parts = values.some<Part>(count);
  const auto before = values.some<u8>(count * static_cast<i32>(pixelBytes));
  for (i32 place = 0; place < static_cast<i32>(pixelBytes / sizeof(Part)); ++place) {
    Guarded<Part> in(parts);
    Guarded<u8> pixels(before);
    store(in.data(), count, place, pixels.data());
    pixels.expect(withParts(before, parts, place, pixelBytes), "pixels");
  }
}

TEST(Pixels, TakeOneSampleAndKeepTheOthers) {
  forEachSet([](const Kernels& set) {
    Values values(13);
    forEachLength([&](i32 count) {
      checkStore<u8>(values, count, 4, set.storeInBytes);
      checkStore<i16>(values, count, 4, set.parkInBytes);
      checkStore<u16>(values, count, 8, set.storeInWords);
      checkStore<i32>(values, count, 8, set.parkInWords);
    });
  });
}

template <class Part, class Unpark>
void checkUnpark(Values& values, i32 count, const Unpark& unpark) {
  const auto first = values.some<Part>(count), second = values.some<Part>(count);
  std::vector<u8> bytes(first.size() * 2 * sizeof(Part));
  bytes = withParts(withParts(bytes, first, 0, 2 * sizeof(Part)), second, 1, 2 * sizeof(Part));
  Guarded<u8> pixels(bytes);
  Guarded<Part> outFirst(count), outSecond(count);
  unpark(pixels.data(), count, outFirst.data(), outSecond.data());
  outFirst.expect(first, "first");
  outSecond.expect(second, "second");
}

TEST(Pixels, GiveBackWhatIsParkedInThem) {
  forEachSet([](const Kernels& set) {
    Values values(14);
    forEachLength([&](i32 count) {
      checkUnpark<i16>(values, count, set.unparkBytes);
      checkUnpark<i32>(values, count, set.unparkWords);
    });
  });
}

template <class Sample, class Join>
void checkJoin(Values& values, i32 count, Sample fourth, const Join& join) {
  const auto red = values.some<Sample>(count), green = values.some<Sample>(count),
             blue = values.some<Sample>(count);
  std::vector<u8> wanted(red.size() * 4 * sizeof(Sample));
  const std::vector<Sample> fourths(red.size(), fourth);
  const std::vector<Sample>* const order[] = {&blue, &green, &red, &fourths};
  for (i32 k = 0; k < 4; ++k) wanted = withParts(wanted, *order[k], k, 4 * sizeof(Sample));
  Guarded<Sample> inRed(red), inGreen(green), inBlue(blue);
  Guarded<u8> pixels(static_cast<i32>(wanted.size()));
  join(inRed.data(), inGreen.data(), inBlue.data(), count, pixels.data());
  pixels.expect(wanted, "pixels");
}

TEST(Pixels, AreJoinedBlueFirst) {
  forEachSet([](const Kernels& set) {
    Values values(15);
    forEachLength([&](i32 count) {
      checkJoin<u8>(values, count, 255, set.joinBytes);
      checkJoin<u16>(values, count, 0, set.joinWords);
    });
  });
}

}  // namespace
}  // namespace wbx
