// Makes the driver known to GDAL, which calls GDALRegister_JP2WBX when it loads the plugin.
#include <cstring>
#include <gdal_priv.h>

#include "dataset.h"

namespace {

bool startsLikeAnImage(const GDALOpenInfo& request) {
  constexpr GByte kFile[] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', '\r', '\n', 0x87, '\n'};
  constexpr GByte kCodestream[] = {0xFF, 0x4F, 0xFF, 0x51};
  const auto startsWith = [&](const auto& signature) {
    return request.nHeaderBytes >= static_cast<int>(sizeof signature) &&
           std::memcmp(request.pabyHeader, signature, sizeof signature) == 0;
  };
  return startsWith(kFile) || startsWith(kCodestream);
}

// Only the library knows whether it takes a file, and it reads all of its headers for that. Where
// an open follows at once, which GDAL tells by the kinds of data it is after, that finds out.
int identify(GDALOpenInfo* request) {
  if (!startsLikeAnImage(*request)) return GDAL_IDENTIFY_FALSE;
  if ((request->nOpenFlags & GDAL_OF_KIND_MASK) != 0) return GDAL_IDENTIFY_UNKNOWN;
  return wbx::gdal::Image::open(request->pszFilename) != nullptr;
}

GDALDataset* open(GDALOpenInfo* request) {
  if (!startsLikeAnImage(*request) || request->eAccess == GA_Update) return nullptr;
  return wbx::gdal::Dataset::open(request);
}

}  // namespace

extern "C" CPL_DLL void GDALRegister_JP2WBX();

void GDALRegister_JP2WBX() {
  constexpr const char* kName = "JP2WBX";
  if (!GDAL_CHECK_VERSION(kName) || GDALGetDriverByName(kName) != nullptr) return;
  auto* const driver = new GDALDriver;
  driver->SetDescription(kName);
  driver->SetMetadataItem(GDAL_DCAP_RASTER, "YES");
  driver->SetMetadataItem(GDAL_DCAP_VIRTUALIO, "YES");
  driver->SetMetadataItem(GDAL_DMD_LONGNAME, "JPEG 2000 by wbx-codec");
  driver->SetMetadataItem(GDAL_DMD_EXTENSIONS, "jp2 j2k jpx j2c jpc");
  driver->SetMetadataItem(GDAL_DMD_MIMETYPE, "image/jp2");
  driver->pfnIdentify = identify;
  driver->pfnOpen = open;
  GetGDALDriverManager()->RegisterDriver(driver);
}
