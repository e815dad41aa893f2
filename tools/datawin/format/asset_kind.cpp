#include "datawin/format/asset_kind.h"

namespace datawin {

const char* const kAssetKindNames[kAssetKindCount] = {
    "object", "sprite", "sound", "room", "tiles", "path", "script",
    "font", "timeline", "", "shader", "sequence", "animcurve", "particlesystem",
};
static_assert(sizeof(kAssetKindNames) / sizeof(kAssetKindNames[0]) == kAssetKindCount);

}  // namespace datawin
