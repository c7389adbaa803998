#include "api/error_table.h"

#include "wbx.h"

namespace wbx {

const ErrorText ErrorTable[] = {
    {WBX_OK, "No errors"},
    {WBX_ERROR_CPU, "CPU must support MMX"},
    {WBX_ERROR_MEMORY, "Memory allocation failed"},
    {WBX_ERROR_CORRUPT, "WBX image file is corrupted or has unsupported format"},
    {WBX_ERROR_READ, "Reading or seeking operation failed"},
    {WBX_ERROR_ARGUMENT, "Invalid argument passed to the function"},
    {WBX_ERROR_CANCELLED, "Operation has been canceled by user"},
    {WBX_ERROR_OPEN, "Cannot open the WBX image file"},
    {WBX_ERROR_OPTION, "Failed to recognize one of the options passed to the decode function"},
    {WBX_ERROR_TILE, "The specified tile doesn't exist in this image"},
    {WBX_ERROR_RESOLUTION, "The requested resolution level is not available in this image"},
    {WBX_ERROR_BPP, "The BPP value specified in the options string is too small"},
    {WBX_ERROR_BUFFER_SIZE,
     "The specified buffer size is too small to hold the decompressed image"},
    {WBX_ERROR_NOT_PART1, "WBX image file is not JPEG2000 Part 1 compliant"},
    {WBX_ERROR_TOO_LARGE, "The width or height of the image is greater than 65535"},
    {WBX_ERROR_RESOLUTION_LEVELS, "Image has too many resolution levels"},
    {WBX_ERROR_CODE_BLOCK_SIZE,
     "Code block width is greater than 128 or height is greater than 64"},
    {WBX_ERROR_BYPASS, "Arithmetic bypass mode is not supported"},
    {WBX_ERROR_CAUSAL, "Vertical stripe causal context formation is not supported"},
    {WBX_ERROR_COMPONENTS, "Image has more than 4 components"},
    {WBX_ERROR_PRECISION, "Image has component precision that is not supported"},
    {WBX_ERROR_SIGNED, "Signed components are not supported"},
    {WBX_ERROR_SUBSAMPLING,
     "Image has horizontally down-sampled components with the step > 2 or the component #0 is "
     "down-sampled"},
    {WBX_ERROR_ROI, "ROI is not supported"},
    {WBX_ERROR_PROGRESSION_CHANGE, "Progression change is not supported"},
    {WBX_ERROR_PACKED_HEADERS, "Packed packet headers are not supported"},
    {WBX_ERROR_BOX, "This JP2 file is either too big or corrupted"},
    {WBX_ERROR_INTERNAL, "Internal codec error (notify the author, please)"},
    {-1, ""},
};

const char* errorText(i32 code) {
  for (const ErrorText* row = ErrorTable; row->code >= 0; ++row) {
    if (row->code == code) return row->text;
  }
  return "<unknown>";
}

}  // namespace wbx
