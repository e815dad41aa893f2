#pragma once
// The game's sprites, drawn from code. Each function returns the frames of one sprite (all the
// same size); the builder slices the strip written from them. Sizes and poses follow the art
// direction: towers in a 64x64 box, enemies 32 to 48 pixels tall facing left, projectiles
// pointing right, one palette, light from the top left, a dark outline on everything but ground.
#include <string>
#include <vector>

#include "image/image.h"

namespace assetgen {

enum class Tower { kScorpion, kBallista, kCatapault, kOnager };
enum class Enemy { kGrunt, kMule, kBrute };

inline constexpr int kTowerFrames[] = {20, 18, 18, 18};  // more than each kind's attack_frame
inline constexpr int kTowerAttackFrame[] = {17, 15, 15, 15};
inline constexpr const char* kTowerNames[] = {"scorpion", "ballista", "catapault", "onager"};
inline constexpr const char* kEnemyNames[] = {"grunt", "mule", "brute"};

std::vector<kimage::Image> tower_firing(Tower tower);
kimage::Image tower_idle(Tower tower);
kimage::Image tower_shop_icon(Tower tower);
std::vector<kimage::Image> tower_projectile(Tower tower);

// Look 1 to 6 of an enemy kind: a short walk cycle.
std::vector<kimage::Image> enemy_walk(Enemy enemy, int look);

// The mounted bow of the player, drawn back over its frames, and its arrow.
std::vector<kimage::Image> player_bow();
kimage::Image player_arrow();

// Screens and heads-up display. `title_font` is the face the title lettering is drawn with.
kimage::Image background();
kimage::Image hud_band();
kimage::Image title_screen(const std::string& title_font);
kimage::Image loss_screen(const std::string& title_font);
kimage::Image maker_emblem();
kimage::Image panel();
kimage::Image shop_button();
kimage::Image coin_icon();
kimage::Image score_icon();
kimage::Image fade_square();
kimage::Image health_back();
kimage::Image health_fill();
kimage::Image health_shine();

}  // namespace assetgen
