// One resolution of an image as a dataset of GDAL. That of full size has the others as overviews.
#pragma once

#include <gdaljp2abstractdataset.h>
#include <memory>
#include <vector>

#include "channels.h"
#include "image.h"

namespace wbx::gdal {

class Dataset final : public GDALJP2AbstractDataset {
 public:
  // Null for what is no JPEG 2000 image or refused by the library, so that another driver can try.
  static GDALDataset* open(GDALOpenInfo* request);

  Dataset(std::shared_ptr<Image> image, const Channels& channels, int level);

 private:
  friend class Band;

  std::shared_ptr<Image> image_;
  int level_;
  std::vector<std::unique_ptr<Dataset>> overviews_;
};

class Band final : public GDALPamRasterBand {
 public:
  Band(Dataset* dataset, int number, GDALColorInterp colour, Size block);

  GDALColorInterp GetColorInterpretation() override { return colour_; }
  GDALColorTable* GetColorTable() override;
  int GetOverviewCount() override;
  GDALRasterBand* GetOverview(int index) override;

 protected:
  CPLErr IReadBlock(int column, int row, void* data) override;

 private:
  Dataset* dataset() const { return static_cast<Dataset*>(poDS); }
  Rect blockRect(int column, int row) const;
  void copyBlock(const Rect& pixels, void* data) const;
  void fillOtherBands(int column, int row, const Rect& pixels);

  GDALColorInterp colour_;
  GDALColorTable table_;
};

}  // namespace wbx::gdal
