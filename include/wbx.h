/* wbx-codec: a decoder for JPEG 2000 Part 1 images (ITU-T T.800 | ISO/IEC 15444-1). */
#ifndef WBX_H
#define WBX_H

#include <stdint.h>

#if defined(_WIN32)
#define WBX_API __declspec(dllexport)
#elif defined(__GNUC__)
#define WBX_API __attribute__((visibility("default")))
#else
#define WBX_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct WBX_Decoder* WBX_Handle;

typedef enum WBX_Error {
  WBX_OK = 0,
  WBX_ERROR_CPU = 1,
  WBX_ERROR_MEMORY = 2,
  WBX_ERROR_CORRUPT = 3,
  WBX_ERROR_READ = 4,
  WBX_ERROR_ARGUMENT = 5,
  WBX_ERROR_CANCELLED = 6,
  WBX_ERROR_OPEN = 7,
  WBX_ERROR_OPTION = 8,
  WBX_ERROR_TILE = 9,
  WBX_ERROR_RESOLUTION = 10,
  WBX_ERROR_BPP = 11,
  WBX_ERROR_BUFFER_SIZE = 12,
  WBX_ERROR_NOT_PART1 = 13,
  WBX_ERROR_TOO_LARGE = 14,
  WBX_ERROR_RESOLUTION_LEVELS = 15,
  WBX_ERROR_CODE_BLOCK_SIZE = 16,
  WBX_ERROR_BYPASS = 17,
  WBX_ERROR_CAUSAL = 18,
  WBX_ERROR_COMPONENTS = 19,
  WBX_ERROR_PRECISION = 20,
  WBX_ERROR_SIGNED = 21,
  WBX_ERROR_SUBSAMPLING = 22,
  WBX_ERROR_ROI = 23,
  WBX_ERROR_PROGRESSION_CHANGE = 24,
  WBX_ERROR_PACKED_HEADERS = 25,
  WBX_ERROR_BOX = 26,
  WBX_ERROR_INTERNAL = 27
} WBX_Error;

typedef struct CustomCallbacks {
  int32_t (*seek)(void* user, uint32_t offset);
  int32_t (*read)(void* buffer, uint32_t count, void* user);
  void (*close)(void* user);
} CustomCallbacks;

typedef struct WBX_ImageInfoEx {
  uint32_t version;
  uint32_t width;
  uint32_t height;
  uint32_t components;
  uint32_t flags;
  uint32_t tilesAcross;
  uint32_t tilesDown;
  uint32_t precision;
} WBX_ImageInfoEx;

WBX_API void WBX_InitLibrary(void);
WBX_API void WBX_CloseLibrary(void);
WBX_API uint32_t WBX_getVersion(void);
WBX_API int32_t WBX_getLastError(void);
WBX_API const char* WBX_getErrorStr(int32_t code);
WBX_API const char* WBX_getLastErrorStr(void);
WBX_API void WBX_getErrorStrVB(int32_t code, char* text);
WBX_API int32_t WBX_StartLogging(uint32_t reserved, int32_t append);
WBX_API void WBX_StopLogging(void);
WBX_API WBX_Handle WBX_OpenFile(const char* path);
WBX_API WBX_Handle WBX_OpenMemory(const void* data, int32_t size);
WBX_API WBX_Handle WBX_OpenCustom(void* user, const CustomCallbacks* callbacks);
WBX_API int32_t WBX_Close(WBX_Handle handle);
WBX_API void WBX_Cancel(WBX_Handle handle);
WBX_API int32_t WBX_Decode(WBX_Handle handle, void** buffer, uint32_t* size, const char* options,
                           uint32_t* pitch);
WBX_API WBX_Handle WBX_EasyDecode(const char* path, void** buffer, uint32_t* width,
                                  uint32_t* height, uint32_t* components, const char* options);
WBX_API int32_t WBX_GetInfo(WBX_Handle handle, uint32_t* width, uint32_t* height,
                            uint32_t* components);
WBX_API int32_t WBX_GetInfoEx(WBX_Handle handle, WBX_ImageInfoEx* info);
WBX_API int32_t WBX_GetMetaData(WBX_Handle handle, int32_t* index, uint32_t* kind,
                                const void** data, uint32_t* length);
WBX_API int32_t WBX_GetResolutions(WBX_Handle handle, int32_t* count);
WBX_API int32_t WBX_GetResolutionDimensions(WBX_Handle handle, int32_t level, uint32_t* width,
                                            uint32_t* height);
WBX_API int32_t WBX_GetResolutionDimensionsByStr(WBX_Handle handle, const char* options,
                                                 uint32_t* width, uint32_t* height);
WBX_API int32_t WBX_SelectTiles(WBX_Handle handle, int32_t first, int32_t last, int32_t state);

#ifdef __cplusplus
}
#endif

#endif
