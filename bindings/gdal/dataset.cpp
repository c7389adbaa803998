#include "dataset.h"

#include <algorithm>
#include <utility>

namespace wbx::gdal {

namespace {

constexpr int kBlockOfOneTile = 1024;
constexpr int kSmallestBlock = 256;

int wholeTiles(int tile) {
  return tile * ((kSmallestBlock + tile - 1) / tile);
}

// A block is a tile, or as many as make a block that is worth the call. At lower resolutions it has
// the same size and holds more of them, which keeps the edges of blocks on those of tiles. One tile
// alone is decoded once and handed out in parts.
Size blockSize(const Image& image, Size whole) {
  Size block = {kBlockOfOneTile, kBlockOfOneTile};
  if (!image.isOneTile()) {
    block = {wholeTiles(image.tileSize().width), wholeTiles(image.tileSize().height)};
  }
  return {std::min(block.width, whole.width), std::min(block.height, whole.height)};
}

}  // namespace

// What is set here comes with the image, so it goes past the classes that would write it to a file
// beside the image.
Dataset::Dataset(std::shared_ptr<Image> image, const Channels& channels, int level)
    : image_(std::move(image)), level_(level) {
  const Size size = image_->sizeAt(level);
  nRasterXSize = size.width;
  nRasterYSize = size.height;
  for (size_t i = 0; i < channels.colours.size(); ++i) {
    const int number = static_cast<int>(i) + 1;
    SetBand(number, new Band(this, number, channels.colours[i], blockSize(*image_, size)));
  }
  if (nBands > 1) GDALDataset::SetMetadataItem("INTERLEAVE", "PIXEL", "IMAGE_STRUCTURE");
}

GDALDataset* Dataset::open(GDALOpenInfo* request) {
  const std::shared_ptr<Image> image = Image::open(request->pszFilename);
  if (image == nullptr) return nullptr;
  const auto components = static_cast<int>(image->info().components);
  const Channels channels = readChannels(request->pszFilename, components);
  if (channels.blueFirst) image->setBlueFirst();
  // The library converts bytes by itself.
  if (channels.ycc && image->info().precision > 8) image->setYcc();

  auto whole = std::make_unique<Dataset>(image, channels, 0);
  for (int level = 1; level < image->resolutions(); ++level) {
    const Size size = image->sizeAt(level);
    if (size.width == 0 || size.height == 0) break;
    whole->overviews_.push_back(std::make_unique<Dataset>(image, channels, level));
  }
  whole->LoadJP2Metadata(request);
  whole->SetDescription(request->pszFilename);
  whole->TryLoadXML(request->GetSiblingFiles());
  whole->oOvManager.Initialize(whole.get(), request->pszFilename, request->GetSiblingFiles());
  return whole.release();
}

Band::Band(Dataset* dataset, int number, GDALColorInterp colour, Size block) : colour_(colour) {
  poDS = dataset;
  nBand = number;
  eDataType = dataset->image_->info().precision > 8 ? GDT_UInt16 : GDT_Byte;
  nBlockXSize = block.width;
  nBlockYSize = block.height;
  const uint32_t bits = dataset->image_->info().precision;
  if (bits != 8 && bits != 16) {
    GDALRasterBand::SetMetadataItem("NBITS", CPLSPrintf("%u", bits), "IMAGE_STRUCTURE");
  }
  GDALRasterBand::SetMetadataItem("COMPRESSION", "JPEG2000", "IMAGE_STRUCTURE");
  if (dataset->image_->info().components == 1 && bits <= 8) {
    table_ = readPalette(dataset->image_->palette());
    if (table_.GetColorEntryCount() > 0) colour_ = GCI_PaletteIndex;
  }
}

GDALColorTable* Band::GetColorTable() {
  return table_.GetColorEntryCount() > 0 ? &table_ : GDALPamRasterBand::GetColorTable();
}

int Band::GetOverviewCount() {
  const auto own = static_cast<int>(dataset()->overviews_.size());
  return own > 0 ? own : GDALPamRasterBand::GetOverviewCount();
}

GDALRasterBand* Band::GetOverview(int index) {
  const auto& own = dataset()->overviews_;
  if (own.empty()) return GDALPamRasterBand::GetOverview(index);
  if (index < 0 || index >= static_cast<int>(own.size())) return nullptr;
  return own[static_cast<size_t>(index)]->GetRasterBand(nBand);
}

Rect Band::blockRect(int column, int row) const {
  const int64_t left = int64_t{column} * nBlockXSize;
  const int64_t top = int64_t{row} * nBlockYSize;
  return {left, top, std::min<int64_t>(left + nBlockXSize, nRasterXSize),
          std::min<int64_t>(top + nBlockYSize, nRasterYSize)};
}

void Band::copyBlock(const Rect& pixels, void* data) const {
  const Image& image = *dataset()->image_;
  const auto pitch = static_cast<size_t>(nBlockXSize);
  if (eDataType == GDT_Byte) {
    image.copy(nBand - 1, pixels, static_cast<uint8_t*>(data), pitch);
  } else {
    image.copy(nBand - 1, pixels, static_cast<uint16_t*>(data), pitch);
  }
}

CPLErr Band::IReadBlock(int column, int row, void* data) {
  const Rect pixels = blockRect(column, row);
  if (dataset()->image_->need(dataset()->level_, pixels) != CE_None) return CE_Failure;
  copyBlock(pixels, data);
  // The tiles will soon make way for others; a tile that is alone stays.
  if (!dataset()->image_->isOneTile()) fillOtherBands(column, row, pixels);
  return CE_None;
}

void Band::fillOtherBands(int column, int row, const Rect& pixels) {
  for (int number = 1; number <= dataset()->GetRasterCount(); ++number) {
    if (number == nBand) continue;
    auto* const band = static_cast<Band*>(dataset()->GetRasterBand(number));
    GDALRasterBlock* block = band->TryGetLockedBlockRef(column, row);
    if (block == nullptr) {
      block = band->GetLockedBlockRef(column, row, TRUE);
      if (block == nullptr) return;
      band->copyBlock(pixels, block->GetDataRef());
    }
    block->DropLock();
  }
}

}  // namespace wbx::gdal
