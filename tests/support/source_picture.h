#ifndef WBX_TESTS_SUPPORT_SOURCE_PICTURE_H
#define WBX_TESTS_SUPPORT_SOURCE_PICTURE_H

#include <cstdint>
#include <string>

namespace wbx::test {

// Sample (x, y) of component c of one of the pictures that the files of tests/data were encoded
// from, counted in the component's own samples from its top left corner. tests/data/pictures.py
// holds the same formulas.
int32_t sourceSample(const std::string& picture, uint32_t x, uint32_t y, uint32_t c, int precision);

}  // namespace wbx::test

#endif
