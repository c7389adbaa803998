/* wbx-codec: a decoder for JPEG 2000 Part 1 images (ITU-T T.800 | ISO/IEC 15444-1).
 *
 * The library reads raw codestreams, JP2 files and the first codestream of JPX files, from a file,
 * from memory or through callbacks, and decodes them into interleaved samples. It has a flat C
 * interface of 23 functions, starts no thread, reads no environment variable or configuration
 * file, and writes nothing but the log file that WBX_StartLogging asks for.
 *
 * A complete program: decode a file to 32-bit BGRA and write the picture as a raw file.
 *
 *     #include <stdio.h>
 *     #include "wbx.h"
 *
 *     int main(int argc, char** argv) {
 *       WBX_Handle image;
 *       void* pixels = NULL;   // null: the library allocates the buffer
 *       uint32_t size = 0, pitch = 0, width, height;
 *       int32_t code;
 *       FILE* out;
 *
 *       if (argc != 3) return 2;
 *       image = WBX_OpenFile(argv[1]);
 *       if (image == NULL) {
 *         fprintf(stderr, "%s: %s\n", argv[1], WBX_getLastErrorStr());
 *         return 1;
 *       }
 *       WBX_GetInfo(image, &width, &height, NULL);
 *       code = WBX_Decode(image, &pixels, &size, NULL, &pitch);
 *       if (code != WBX_OK) {
 *         fprintf(stderr, "%s: %s\n", argv[1], WBX_getErrorStr(code));
 *         WBX_Close(image);
 *         return 1;
 *       }
 *       printf("%u x %u pixels, %u bytes from row to row\n", width, height, pitch);
 *       out = fopen(argv[2], "wb");
 *       if (out != NULL) {
 *         fwrite(pixels, 1, size, out);
 *         fclose(out);
 *       }
 *       WBX_Close(image);      // frees the pixels too
 *       return 0;
 *     }
 *
 * The road of an image: open it, ask and select as you like, decode as often as you like, close it.
 *
 *   - An open walks the whole source, every header and every packet header, and decodes nothing.
 *     An image either opens whole or not at all: a file that is damaged or cut off anywhere before
 *     its end-of-codestream marker does not open.
 *   - A decode parses nothing any more. It runs the selected tiles at the chosen resolution and
 *     writes the picture; it can be repeated with other options, tiles and buffers.
 *
 * Contents, from simple to advanced:
 *   1. Results and error codes          5. Decode options
 *   2. Open and close                   6. Resolutions and tiles
 *   3. Information about an image       7. Metadata
 *   4. Decode                           8. Cancel, log, start and stop
 *
 * What can be decoded: 1 to 4 components, unsigned, all of one precision of 1 to 16 bits;
 * components other than the first sub-sampled by 2 at most; coordinates up to 65535; at most 24
 * resolutions; code blocks up to 128 wide and 64 high. Not read: selective arithmetic coding
 * bypass, vertically causal contexts, progression order changes (POC), packed packet headers (PPM,
 * PPT) and extended box lengths. Each refusal has its own error code. A palette is handed over as
 * metadata and not applied.
 *
 * Threads: any function may be called from any thread, and different handles work in parallel. One
 * handle is for one thread at a time; the only exception is WBX_Cancel, which may be called from
 * any thread while WBX_Decode runs on that handle. Everything runs on the calling thread. A child
 * of fork may use the library, and the handles that no other thread was using at the fork.
 *
 * Busy: while a call works on a handle, every other call on it, from a callback or from another
 * thread, changes nothing and gives WBX_ERROR_ARGUMENT, WBX_Close included; WBX_Cancel excepted.
 *
 * Units: sizes and offsets are in bytes, widths, heights and tile sizes in pixels, unless said.
 */
#ifndef WBX_H
#define WBX_H

#include <stdint.h>

/* Define WBX_STATIC when you link the static library. WBX_BUILDING is for the library's own build.
 */
#if defined(WBX_STATIC)
#define WBX_API
#elif defined(_WIN32)
#if defined(WBX_BUILDING)
#define WBX_API __declspec(dllexport)
#else
#define WBX_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define WBX_API __attribute__((visibility("default")))
#else
#define WBX_API
#endif

/* How functions and callbacks are called. On 32-bit Windows: the way that every language there has
 * words for. Write it in front of the name of a callback: int32_t WBX_CALL readImage(...). */
#if defined(_WIN32) && (defined(__i386__) || defined(_M_IX86))
#define WBX_CALL __stdcall
#else
#define WBX_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------
 * 1. Results and error codes
 *
 * A function with an int32_t result returns 0 (WBX_OK) or one of the codes below. A function with a
 * handle as its result returns null on failure. In both cases a failure also leaves its code in
 * the last-error word of the calling thread. A success leaves the word alone, so look at it only
 * after a failure.
 *
 * Bad arguments are caught as far as the platform allows: a null pointer, a handle that is none
 * and a pointer to memory that cannot be accessed give a code and no crash. Memory that can be
 * accessed and is no handle is recognised too, but not by WBX_Close and WBX_Cancel, which store
 * into what they are given. After WBX_ERROR_INTERNAL do nothing with the handle but close it. A
 * handle that was closed is freed memory, and using it is a fault of the caller that nothing can
 * catch reliably.
 * ------------------------------------------------------------------------------------------- */

typedef enum WBX_Error {
  WBX_OK = 0,

  /* Never returned; kept so that the numbers stay what they are. */
  WBX_ERROR_CPU = 1,

  /* Memory could not be allocated, at open or at decode; also an internal buffer of 2^32 bytes or
   * more, an image of more than 2^24 tiles, and a stored box without a length. */
  WBX_ERROR_MEMORY = 2,

  /* The image is damaged: a marker, length or value that cannot be right, or data that ends early.
   * Also what is no JPEG 2000 image at all. */
  WBX_ERROR_CORRUPT = 3,

  /* The source failed or ended where more was needed. Also a damaged packet header: it leads the
   * open astray in the data, and nothing tells it from a source that lost bytes. */
  WBX_ERROR_READ = 4,

  /* An argument is null or of no use, or the handle is none or busy. */
  WBX_ERROR_ARGUMENT = 5,

  /* WBX_Cancel stopped the decode. The handle can go on to be used. */
  WBX_ERROR_CANCELLED = 6,

  /* The file cannot be opened. From WBX_StartLogging: the log is running already, or its file
   * cannot be opened. */
  WBX_ERROR_OPEN = 7,

  /* The option text holds an unknown keyword. */
  WBX_ERROR_OPTION = 8,

  /* A tile number beyond the last tile. */
  WBX_ERROR_TILE = 9,

  /* A resolution level that the selected tiles do not have. */
  WBX_ERROR_RESOLUTION = 10,

  /* The bpp option is smaller than components times bytes per sample. */
  WBX_ERROR_BPP = 11,

  /* The caller's buffer is too small, the caller's pitch is smaller than a row of pixels, or a
   * caller's buffer would need 2^32 bytes or more. */
  WBX_ERROR_BUFFER_SIZE = 12,

  /* Something that Part 1 of the standard does not allow: a wrong file signature, brand, colour
   * specification method, progression order or wavelet, for example. */
  WBX_ERROR_NOT_PART1 = 13,

  /* A size or offset of the image or of the tile grid is above 65535. */
  WBX_ERROR_TOO_LARGE = 14,

  /* More than 24 resolutions. */
  WBX_ERROR_RESOLUTION_LEVELS = 15,

  /* Code blocks wider than 128 or higher than 64. */
  WBX_ERROR_CODE_BLOCK_SIZE = 16,

  /* Selective arithmetic coding bypass. */
  WBX_ERROR_BYPASS = 17,

  /* Vertically causal contexts. */
  WBX_ERROR_CAUSAL = 18,

  /* More than 4 components. */
  WBX_ERROR_COMPONENTS = 19,

  /* Components of different precision, or of more than 16 bits. */
  WBX_ERROR_PRECISION = 20,

  /* Signed components. */
  WBX_ERROR_SIGNED = 21,

  /* Sub-sampling by more than 2, or of the first of 3 or 4 components. */
  WBX_ERROR_SUBSAMPLING = 22,

  /* Never returned: regions of interest are decoded. */
  WBX_ERROR_ROI = 23,

  /* A progression order change (POC). */
  WBX_ERROR_PROGRESSION_CHANGE = 24,

  /* Packed packet headers (PPM, PPT). */
  WBX_ERROR_PACKED_HEADERS = 25,

  /* A box with an extended length, or of 2^31 bytes or more. */
  WBX_ERROR_BOX = 26,

  /* The library failed: a processor fault or an exception was caught. Close the handle. */
  WBX_ERROR_INTERNAL = 27
} WBX_Error;

/* The longest error text with its terminating zero; what WBX_getErrorStrVB needs. */
#define WBX_ERROR_TEXT_SIZE 101

/* The text of a code; "<unknown>" for a number that is no code. A constant, never null, not to be
 * freed. */
WBX_API const char* WBX_CALL WBX_getErrorStr(int32_t code);

/* The code that the last failure on this thread left; 0 if there was none. On Windows the word is
 * that of GetLastError, and errors of the system show in it unchanged. */
WBX_API int32_t WBX_CALL WBX_getLastError(void);

/* The text of that code, as WBX_getErrorStr gives it. */
WBX_API const char* WBX_CALL WBX_getLastErrorStr(void);

/* Copies the text of a code with its terminating zero to `text`, which must have room for
 * WBX_ERROR_TEXT_SIZE bytes; for languages that cannot take a constant text. With a null or bad
 * pointer nothing happens. */
WBX_API void WBX_CALL WBX_getErrorStrVB(int32_t code, char* text);

/* ---------------------------------------------------------------------------------------------
 * 2. Open and close
 *
 * Each open function returns a handle, or null with a code in the last-error word:
 *   WBX_ERROR_ARGUMENT   an argument as told at the function
 *   WBX_ERROR_MEMORY     no memory
 *   WBX_ERROR_OPEN       WBX_OpenFile only: the file cannot be opened
 *   3, 4, 13 to 26       what is wrong with the image
 *   WBX_ERROR_INTERNAL   the library failed, or the caller's memory or callbacks did
 * A failed open keeps nothing, but for memory after WBX_ERROR_INTERNAL. All tiles are selected
 * after an open.
 * ------------------------------------------------------------------------------------------- */

/* One open image. Opaque, never null for an open image, and valid until WBX_Close. */
typedef struct WBX_Decoder* WBX_Handle;

/* Opens the named file. It must be a regular one: a pipe or a terminal, where positions cannot be
 * sought, is WBX_ERROR_OPEN, and images from there are for WBX_OpenCustom. The path goes to the
 * system as it is on POSIX, any bytes; on Windows it is UTF-8. The file stays open until WBX_Close.
 * A null path is WBX_ERROR_ARGUMENT. */
WBX_API WBX_Handle WBX_CALL WBX_OpenFile(const char* path);

/* Opens an image that lies in memory. The bytes are not copied: they are the caller's and must stay
 * where they are, unchanged, until WBX_Close. Null data or a size below 1 is
 * WBX_ERROR_ARGUMENT. What is read is the same as from a file but for a box behind the codestream
 * that ends at the end of the data or beyond it: see docs/limits.md. */
WBX_API WBX_Handle WBX_CALL WBX_OpenMemory(const void* data, int32_t size);

/* A source of the caller's own, for WBX_OpenCustom. The callbacks run on the thread that called the
 * library, and only while it is inside a call on this handle. They may call the library for other
 * handles, WBX_Cancel for this one (which stops a decode), and nothing else for this one: it is
 * busy. They must neither throw exceptions nor leave by longjmp: the handle could then not even be
 * closed. */
typedef struct CustomCallbacks {
  /* Goes to `offset` from the start of the source, which may lie beyond its end: reads from there
   * deliver nothing. Returns 0 for success. May be null: a source that cannot seek works too, but
   * keeps a copy of all image data in memory from the open on. */
  int32_t(WBX_CALL* seek)(void* user, uint32_t offset);

  /* Writes up to `count` bytes, 1 at least, to `buffer` and moves on by them. Returns the number of
   * bytes, which is below `count` at the end of the data only, or a negative number for an error.
   * Required. Beware: here the user value comes last. */
  int32_t(WBX_CALL* read)(void* buffer, uint32_t count, void* user);

  /* Called exactly once, as the last of the callbacks: by WBX_Close or by the open that fails, for
   * lack of memory and after a fault too. May be null. */
  void(WBX_CALL* close)(void* user);
} CustomCallbacks;

/* Opens an image that is read through callbacks. The source must stand at its start. The record is
 * copied; `user` is handed to each callback unchanged and may be null. Callbacks and user value
 * must stay valid until the close callback has run. If there is a seek callback it is called at
 * once with offset 0: only if that succeeds counts the source as seekable. A null record or a null
 * read callback is WBX_ERROR_ARGUMENT, and then no callback is called, close included. */
WBX_API WBX_Handle WBX_CALL WBX_OpenCustom(void* user, const CustomCallbacks* callbacks);

/* Closes the image and frees all that belongs to it: every internal buffer that its decodes
 * returned, every metadata pointer, and the source (the caller's memory is left alone). It does not
 * wait for a decode on another thread: that one is cancelled and the handle stays open, so close it
 * when the decode has returned. Returns 0; WBX_ERROR_ARGUMENT for a null, wild or busy handle; or
 * WBX_ERROR_INTERNAL, after which the handle is gone as well. */
WBX_API int32_t WBX_CALL WBX_Close(WBX_Handle handle);

/* ---------------------------------------------------------------------------------------------
 * 3. Information about an image
 * ------------------------------------------------------------------------------------------- */

/* Size and number of components of the whole image, whatever tiles are selected. Each output
 * pointer may be null. Returns 0, or WBX_ERROR_ARGUMENT, with outputs undefined. */
WBX_API int32_t WBX_CALL WBX_GetInfo(WBX_Handle handle, uint32_t* width, uint32_t* height,
                                     uint32_t* components);

enum {
  WBX_INFO_JP2 = 1,       /* in a JP2 or JPX file; clear for a raw codestream */
  WBX_INFO_REVERSIBLE = 2 /* the 5-3 reversible wavelet; clear for the 9-7 irreversible one */
};

/* Filled by WBX_GetInfoEx; nothing in it is read. */
typedef struct WBX_ImageInfoEx {
  uint32_t version;     /* of the library, as WBX_getVersion gives it */
  uint32_t width;       /* of the whole image */
  uint32_t height;      /* of the whole image */
  uint32_t components;  /* 1 to 4 */
  uint32_t flags;       /* WBX_INFO_... */
  uint32_t tilesAcross; /* columns of the tile grid */
  uint32_t tilesDown;   /* rows of the tile grid */
  uint32_t precision;   /* bits per sample, 1 to 16: up to 8 decode to bytes, others to words */
} WBX_ImageInfoEx;

/* Fills the record. Returns 0, or WBX_ERROR_ARGUMENT, also for a null record, with the record
 * undefined. */
WBX_API int32_t WBX_CALL WBX_GetInfoEx(WBX_Handle handle, WBX_ImageInfoEx* info);

/* ---------------------------------------------------------------------------------------------
 * 4. Decode
 *
 * The picture is the bounding rectangle of the selected tiles at the chosen resolution; of the
 * whole image by default. Its samples are interleaved: one byte per sample for a precision of 1 to
 * 8 bits, one 16-bit word in the byte order of the machine for 9 to 16 bits. Rows run from the top
 * down, pixels from left to right.
 *
 * The order of the samples in a pixel:
 *
 *   components  samples of a pixel
 *   1           grey; with bytes, a pixel of more than 1 byte holds the grey value in bytes 0, 1
 *               and 2 (see comp_order)
 *   2           grey, opacity
 *   3           blue, green, red
 *   4           blue, green, red, and the fourth component, opacity as a rule
 *
 * By default samples 0 and 2 change places on the way, because the first component is red as a
 * rule. If the file's channel definition says that the first channel is blue, they do not. The
 * inverse component transform of the image and a conversion from sYCC to RGB are applied; colours
 * are not converted otherwise.
 *
 * The fourth sample of a pixel of 4 samples: of 1 and 3 components in bytes it is 255. Of 3
 * components in words it is 0 if the image has a component transform and is not written otherwise.
 *
 * Samples of 8 bits fill 0 to 255. Samples of 9 to 16 bits fill 0 to 2^precision - 1 and are not
 * scaled. Samples of fewer than 8 bits are not scaled either, and keep the level shift of 8 bits:
 * a 4-bit image fills 120 to 135.
 *
 * Sub-sampled components are enlarged by repetition, so that every pixel has all samples.
 *
 * Beware of the default of the video option: an image of 3 components whose colours are sub-sampled
 * in width only (4:2:2) comes out at half its resolution, enlarged again, unless the options say
 * "video=0". Without a component transform in the file, such colours are taken for luminance and
 * colour differences and go through the transform that belongs to the wavelet; for reversible files
 * that is not the conversion of YCC, and "nomct" leaves the components as they were coded.
 *
 * Into a buffer of the caller's own, red, green and blue without gaps:
 *
 *     uint32_t width, height, pitch = 0, size = 1;
 *     void* pixels = picture;        // any byte's address will do for the question
 *     int32_t code = WBX_Decode(image, &pixels, &size, "bpp=3,comp_order=RGB,video=0", &pitch);
 *     if (code == WBX_ERROR_BUFFER_SIZE) {
 *       pixels = malloc(size);       // now `size` is what the picture needs
 *       if (pixels != NULL)
 *         code = WBX_Decode(image, &pixels, &size, "bpp=3,comp_order=RGB,video=0", &pitch);
 *     }
 * ------------------------------------------------------------------------------------------- */

/* Decodes the selected tiles into a buffer.
 *
 *   buffer   in and out, required. Points at null: the library allocates an internal buffer and
 *            stores its address. Points at the caller's buffer: the picture goes there.
 *   size     in and out, required. In: the bytes of the caller's buffer, 0 for unknown (nothing is
 *            tested then), not read for an internal buffer. Out: the bytes of the picture, pitch
 *            times height.
 *   options  the option text, see section 5; null for the defaults.
 *   pitch    in and out, may be null. In: the wanted distance in bytes from row to row of the
 *            caller's buffer, 0 for the default of pixel size times width; not read for an internal
 *            buffer. Out: the distance in use. With 16-bit samples an odd one counts
 *            as the even one below it.
 *
 *                          caller's buffer              internal buffer
 *   freed by               the caller                   WBX_Close
 *   bytes of a pixel, if   components times             1 component: bytes per sample;
 *   bpp is not given       bytes per sample             else 4 times bytes per sample
 *   before the decode      left as it is                all zero
 *
 * Every internal decode allocates a new buffer; earlier ones stay valid until WBX_Close. Parts of
 * the picture that belong to unselected tiles or to tiles that the file does not hold, bytes of a
 * pixel that no sample fills, and bytes between the rows are not written.
 *
 * Returns, and what the outputs then hold:
 *   0                      all outputs set, the picture complete
 *   WBX_ERROR_ARGUMENT     handle, buffer or size null, or no handle; nothing changed
 *   WBX_ERROR_OPTION       an unknown option; nothing changed
 *   WBX_ERROR_MEMORY       no memory for the internal buffer, or 2^32 bytes or more: *buffer is
 *                          null, the rest unchanged. Or no memory for the work itself: all outputs
 *                          set, the picture incomplete
 *   WBX_ERROR_BPP          the bpp option is too small; *size and *pitch unchanged; an internal
 *                          buffer may have been stored, which WBX_Close frees
 *   WBX_ERROR_BUFFER_SIZE  the caller's buffer or pitch is too small; *size and *pitch set to what
 *                          is needed or in use, nothing decoded. A call with *size of 1 thus asks
 *                          for the size; a picture of 1 byte is decoded by it. (*size holds the low
 *                          32 bits of a size beyond 2^32 - 1.)
 *   WBX_ERROR_CANCELLED    all outputs set, the picture incomplete
 *   WBX_ERROR_INTERNAL     outputs and picture undefined
 */
WBX_API int32_t WBX_CALL WBX_Decode(WBX_Handle handle, void** buffer, uint32_t* size,
                                    const char* options, uint32_t* pitch);

/* From a file name to a picture in an internal buffer, in one call. Sets *buffer to the picture,
 * *width and *height to its size at the resolution that `options` asks for (or the smallest one,
 * if there are not so many) and *components to the number of components of the image. The pixels
 * and rows are those of an internal buffer of WBX_Decode, so a row has bytes of a pixel times width
 * bytes. Returns the handle, which the caller closes and the buffer lives on; or null, with the
 * code in the last-error word, *buffer null (but for a path that is null or empty, or an output
 * that is null or bad: then it may be as it was) and the other outputs undefined. Only `options`
 * may be null. */
WBX_API WBX_Handle WBX_CALL WBX_EasyDecode(const char* path, void** buffer, uint32_t* width,
                                           uint32_t* height, uint32_t* components,
                                           const char* options);

/* ---------------------------------------------------------------------------------------------
 * 5. Decode options
 *
 * One text of options with commas between them, as "res_level=1,bpp=4". Keywords are recognised in
 * upper and lower case. Spaces may stand before an option and before a number. What follows a
 * keyword without "=", or a number, up to the next comma is passed over. A value that is no number
 * counts as 0. Of an option given twice the last one counts. Every decode starts from the defaults.
 *
 *   option           default  effect
 *   res_level=N, rl=N   0     Drops the N finest resolutions: the picture has about 1/2^N of the
 *                             width and height. N below 0 is 0; N beyond what the selected tiles
 *                             have is the smallest resolution.
 *   bpp=N               0     Bytes (not bits) from pixel to pixel, at least components times bytes
 *                             per sample; 0 chooses by the table of section 4. With 16-bit samples
 *                             an odd N counts as N - 1. A negative N is WBX_ERROR_BPP, or
 *                             WBX_ERROR_MEMORY with an internal buffer. The samples of a lossy
 *                             image in bytes with a component transform differ with N: colours wait
 *                             in the pixel with 2 fractional bits if it has 3 bytes, with 6 if it
 *                             has 4. So 4 is closer to the original, and faster.
 *   comp_order=TEXT,  BGR0    "RG" (upper case) at the start exchanges samples 0 and 2 of every
 *   co=TEXT                   pixel, to red, green, blue by default. For 1 component in bytes the
 *                             first four characters also say which bytes of a wider pixel get the
 *                             grey value: all whose character is not '0' (and is there); byte 3 of
 *                             a pixel of 4 becomes 255 if its character is '0' or not there. Other
 *                             letters mean nothing: this is no general permutation.
 *   mul_by_alpha,     off     Multiplies colours by opacity, the last component of 2 or 4, unless
 *   mul_by_alpha=N,           the file says that they are multiplied already. Only for pixels
 *   mba, mba=N                without room between samples: 2 or 4 samples. N of 0 is off.
 *   bitmap, bitmap=N, off     Stores the picture with the last row first, as Windows bitmaps have
 *   bmp, bmp=N                it. N of 0 is off.
 *   video, video=N      2     1: the finest resolution that would be decoded is not, and the one
 *                             below it is enlarged in its place; faster and softer. 0: off. 2: on
 *                             for images of 3 components whose colours are sub-sampled in width
 *                             only (beware: see section 4), otherwise off. "video" alone is 1,
 *                             other numbers are 0.
 *   nomct             off     Leaves out the inverse component transform, and for bytes the
 *                             conversion from sYCC: the components come out as they were coded. It
 *                             stays so for this handle in later decodes.
 *   sse=N                     Accepted and without effect.
 *
 * An unknown keyword is WBX_ERROR_OPTION.
 * ------------------------------------------------------------------------------------------- */

/* ---------------------------------------------------------------------------------------------
 * 6. Resolutions and tiles
 *
 * The answers of the three resolution functions are about the selected tiles: their bounding
 * rectangle is the picture, and it has the resolutions that every one of them has. Tiles for which
 * the file holds no data limit nothing: with only such tiles selected there are 255 resolutions.
 * At a low resolution a picture can be 0 pixels wide or high; its decode writes nothing.
 * ------------------------------------------------------------------------------------------- */

/* Stores the number of resolutions in *count, 1 or more; 1 when no tile is selected. The levels of
 * the res_level option go from 0, full size, to *count - 1. Returns 0; WBX_ERROR_ARGUMENT, also
 * for a null or bad count pointer; or WBX_ERROR_INTERNAL. */
WBX_API int32_t WBX_CALL WBX_GetResolutions(WBX_Handle handle, int32_t* count);

/* Stores the size of the picture at a level, in pixels. A level below 0 is full size. A level
 * beyond the last gives WBX_ERROR_RESOLUTION and stores the size of the last, which is what a
 * decode would use. Otherwise returns 0; WBX_ERROR_ARGUMENT (any null pointer), with nothing
 * stored; or WBX_ERROR_INTERNAL. */
WBX_API int32_t WBX_CALL WBX_GetResolutionDimensions(WBX_Handle handle, int32_t level,
                                                     uint32_t* width, uint32_t* height);

/* The same for the res_level that an option text asks for; null and "" are level 0. An unknown
 * option is no error here: the options in front of it count. */
WBX_API int32_t WBX_CALL WBX_GetResolutionDimensionsByStr(WBX_Handle handle, const char* options,
                                                          uint32_t* width, uint32_t* height);

/* Selects the tiles `first` to `last`, both included, for the following decodes, or takes them away
 * if `state` is 0. Tiles are numbered row by row from the top left, from 0; a negative `first`
 * means the first tile and a negative `last` the last one; a pair in the wrong order is exchanged.
 * Other tiles stay as they are, so to decode only tile 5 take all away, then add it:
 *
 *     WBX_SelectTiles(image, -1, -1, 0);
 *     WBX_SelectTiles(image, 5, 5, 1);
 *
 * When no tile is left the picture keeps its size and a decode writes nothing.
 * Returns 0; WBX_ERROR_TILE if `first` is beyond the last tile, with nothing changed, or if only
 * `last` is, with the tiles up to the end selected all the same; WBX_ERROR_ARGUMENT; or
 * WBX_ERROR_INTERNAL. */
WBX_API int32_t WBX_CALL WBX_SelectTiles(WBX_Handle handle, int32_t first, int32_t last,
                                         int32_t state);

/* ---------------------------------------------------------------------------------------------
 * 7. Metadata
 * ------------------------------------------------------------------------------------------- */

/* The kinds of metadata. Numbers inside the data are big-endian, as in the file. */
enum {
  WBX_META_TEXT = 0,    /* comment of the codestream, Latin-1 */
  WBX_META_BINARY = 1,  /* comment of the codestream, any bytes */
  WBX_META_GEOTIFF = 2, /* a degenerate GeoTIFF file */
  WBX_META_XML = 3,     /* XML text */
  WBX_META_URL = 4,     /* URL, UTF-8 */
  WBX_META_PALETTE = 5, /* the contents of a palette box (T.800 I.5.3.4) */
  WBX_META_ICC = 6,     /* an ICC profile */
  WBX_META_UUID = 7     /* the 16 bytes of a UUID and what belongs to it */
};

/* Walks over the comments and boxes of the image, in the order of the file. Set *index to 0 and
 * call until *data comes back null:
 *
 *     int32_t index = 0;
 *     uint32_t kind, length;
 *     const void* data;
 *     while (WBX_GetMetaData(image, &index, &kind, &data, &length) == WBX_OK && data != NULL)
 *       use(kind, data, length);
 *
 * Stores entry number *index, raises *index by 1, and returns 0. Behind the last entry *data is
 * null, *kind and *length are not touched, *index is raised all the same, and the result is 0 as
 * well. Of all kinds but WBX_META_UUID a zero byte follows the `*length` bytes. The data belongs to
 * the image and lives until WBX_Close. Other results: WBX_ERROR_ARGUMENT (any null pointer), and
 * WBX_ERROR_INTERNAL, also for a bad pointer, with outputs undefined. */
WBX_API int32_t WBX_CALL WBX_GetMetaData(WBX_Handle handle, int32_t* index, uint32_t* kind,
                                         const void** data, uint32_t* length);

/* ---------------------------------------------------------------------------------------------
 * 8. Cancel, log, start and stop
 * ------------------------------------------------------------------------------------------- */

/* Asks a WBX_Decode that runs on this handle in another thread, or around the callback that calls
 * this, to stop; it then returns WBX_ERROR_CANCELLED soon. Returns at once. Without a running
 * decode it has no effect. A null or wild handle leaves WBX_ERROR_ARGUMENT in the last-error word.
 * The handle must not be closed at the same time. */
WBX_API void WBX_CALL WBX_Cancel(WBX_Handle handle);

/* The version of the library as a number. */
#define WBX_VERSION 1655243u
WBX_API uint32_t WBX_CALL WBX_getVersion(void);

/* Starts the log: from now on every call, marker, box and tile leaves a line in the file
 * "wbx-codec.log" in the current directory. One log serves the whole process. `reserved` is not
 * read. `append` of 0 empties the file first, any other value keeps what it holds. Text of files
 * and callers is shown with \xNN in place of bytes that are neither printable ASCII nor part of a
 * printable character of UTF-8, so that it cannot pass for lines of the log. Of a long path or
 * option text the line shows the beginning and "...". Returns 0, or WBX_ERROR_OPEN if the log is
 * running already (it goes on undisturbed) or the file cannot be opened. */
WBX_API int32_t WBX_CALL WBX_StartLogging(uint32_t reserved, int32_t append);

/* Ends the log and closes its file. Without a running log nothing happens. */
WBX_API void WBX_CALL WBX_StopLogging(void);

/* Starting and stopping by hand. Loading the library starts it and the end of the process stops it,
 * linked statically too, so a program needs neither of these. Each may be called at any time and
 * any number of times, while no other thread is inside the library. WBX_CloseLibrary ends the log
 * and frees every internal buffer that is still there, so it belongs after the last WBX_Close;
 * WBX_InitLibrary starts anew after it.
 *
 * Between start and stop the library has handlers for SIGSEGV, SIGBUS, SIGFPE and SIGILL in place
 * on POSIX systems: they take a fault on a thread that is inside a call of this library, and hand
 * every other signal on to the handler that stood before. An application that sets a handler of its
 * own for these signals after the start switches the library's off, and bad pointers then are its
 * own affair, unless its handler passes on to the one that sigaction reported. To keep the guard
 * set such handlers before the library starts, or between WBX_CloseLibrary and WBX_InitLibrary. To
 * get it back, put the reported handler (or the default action) back and call these two. A handler
 * may leave a fault of the application's own by siglongjmp, past calls of the library as well; what
 * those calls held is lost, and their handles stay busy for ever. */
WBX_API void WBX_CALL WBX_InitLibrary(void);
WBX_API void WBX_CALL WBX_CloseLibrary(void);

#ifdef __cplusplus
}
#endif

#endif
