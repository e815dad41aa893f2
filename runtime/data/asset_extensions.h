#pragma once
// The extension packages of chunk EXTN: per package its files (each with its functions) and its
// options. Texts point into the image; the package table's names are copies. These are the
// records as read; the extension subject builds its packages from them when it prepares.
#include <cstdint>
#include <vector>

#include "data/asset_table.h"

struct ExtensionFunctionAsset {
  const char* name = nullptr;
  int32_t id = 0;
  int32_t kind = 0;
  int32_t return_type = 0;
  const char* external_name = nullptr;
  std::vector<int32_t> argument_types;
};

struct ExtensionFileAsset {
  const char* file_name = nullptr;
  const char* init = nullptr;
  const char* final = nullptr;
  int32_t kind = 0;
  std::vector<ExtensionFunctionAsset> functions;
};

struct ExtensionOptionAsset {
  const char* name = nullptr;
  const char* value = nullptr;
  int32_t kind = 0;
};

struct ExtensionPackageAsset {
  const char* name = nullptr;
  const char* setter1 = nullptr;
  const char* setter2 = nullptr;
  std::vector<ExtensionFileAsset> files;
  std::vector<ExtensionOptionAsset> options;
};

const AssetTable<ExtensionPackageAsset>& Extension_Table();

bool Extension_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Extension_Clear();
