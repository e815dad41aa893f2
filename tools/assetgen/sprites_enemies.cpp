// The three enemy kinds, facing left: the grunt small and light, the mule wide under its load, the
// brute big and armoured. Six looks per kind vary colours, headgear, cargo and weapons.
#include <cmath>

#include "assetgen/pen.h"
#include "assetgen/sprites.h"

namespace assetgen {

namespace {

struct Look {
  Material body;
  Material trim;
  int head;    // headgear variant
  int weapon;  // weapon variant
  Material skin;
};

void weapon(Pen& p, int kind, double hx, double hy, double size) {
  // (hx, hy): the hand; weapons are raised forward over the head.
  switch (kind) {
    case 0:  // club
      p.bar(mat::kWood, hx, hy, hx - 3 * size, hy - 10 * size, 2.5 * size);
      p.circle(mat::kWood, hx - 3.4 * size, hy - 10.5 * size, 2.2 * size);
      break;
    case 1:  // spear
      p.bar(mat::kWood, hx + 2 * size, hy + 4 * size, hx - 4 * size, hy - 14 * size, 1);
      p.poly(mat::kIron, {{hx - 5.5 * size, hy - 13 * size}, {hx - 5.5 * size, hy - 19 * size}, {hx - 2.5 * size, hy - 14 * size}});
      break;
    case 2:  // axe
      p.bar(mat::kWood, hx + 1 * size, hy + 2 * size, hx - 3 * size, hy - 11 * size, 1.5 * size);
      p.poly(mat::kIron, {{hx - 3 * size, hy - 12 * size}, {hx - 8 * size, hy - 14 * size}, {hx - 8 * size, hy - 6 * size}, {hx - 2 * size, hy - 8 * size}});
      break;
    case 3:  // mace
      p.bar(mat::kWood, hx, hy, hx - 3 * size, hy - 9 * size, 1.5 * size);
      p.circle(mat::kIron, hx - 3.5 * size, hy - 10.5 * size, 2.6 * size);
      p.dot(pal::kSilver, hx - 4.5 * size, hy - 12 * size);
      break;
    case 4:  // sword
      p.bar(mat::kIron, hx - 1 * size, hy - 1 * size, hx - 5 * size, hy - 13 * size, 2 * size);
      p.bar(mat::kBrass, hx - 2.5 * size, hy + 0.5 * size, hx + 1.5 * size, hy - 2.5 * size, 1.5);
      break;
    default:  // pitchfork
      p.bar(mat::kWood, hx + 2 * size, hy + 4 * size, hx - 4 * size, hy - 12 * size, 1);
      p.line(pal::kSilver, hx - 4 * size, hy - 12 * size, hx - 6 * size, hy - 17 * size);
      p.line(pal::kSilver, hx - 4 * size, hy - 12 * size, hx - 3 * size, hy - 17 * size);
      p.line(pal::kSilver, hx - 6 * size, hy - 11 * size, hx - 2 * size, hy - 13 * size);
      break;
  }
}

void grunt(Pen& p, const Look& look, int frame) {
  // Legs step in turn.
  const double swing = frame == 0 ? 3 : -3;
  p.bar(mat::kDarkWood, 13, 24, 13 - swing, 31, 3);
  p.bar(mat::kLeather, 16, 24, 16 + swing, 31, 3);
  p.rect(mat::kDarkWood, 11 - static_cast<int>(swing), 31, 4, 2);
  p.rect(mat::kDarkWood, 14 + static_cast<int>(swing), 31, 4, 2);
  // Tunic and belt.
  p.poly(look.body, {{10, 14}, {19, 14}, {21, 26}, {8, 26}});
  p.rect(look.trim, 9, 21, 12, 2);
  // Back arm, head, front arm with the weapon.
  p.bar(look.skin, 18, 16, 20, 22, 2);
  p.circle(look.skin, 13, 9, 5);
  p.dot(pal::kOutline, 10, 8);
  p.dot(look.skin.dark, 8, 10);
  switch (look.head) {
    case 0:  // shaggy hair
      p.poly(mat::kDarkWood, {{10, 3}, {18, 4}, {19, 11}, {15, 7}, {11, 6}});
      break;
    case 1:  // leather cap
      p.poly(mat::kLeather, {{8, 7}, {10, 3}, {15, 2}, {18, 5}, {18, 8}});
      break;
    case 2:  // kettle hat
      p.poly(mat::kIron, {{10, 6}, {11, 2}, {16, 2}, {17, 6}});
      p.rect(mat::kIron, 7, 6, 13, 2);
      break;
    case 3:  // hood
      p.poly(look.trim, {{9, 5}, {12, 2}, {17, 3}, {19, 9}, {19, 14}, {15, 11}, {15, 6}, {10, 7}});
      break;
    case 4:  // nasal helm
      p.poly(mat::kIron, {{8, 7}, {10, 2}, {14, 1}, {18, 4}, {18, 8}});
      p.rect(mat::kIron, 8, 7, 2, 4);
      break;
    default:  // horned cap
      p.poly(mat::kLeather, {{8, 7}, {10, 3}, {15, 2}, {18, 5}, {18, 8}});
      p.bar(mat::kFlat(pal::kPale), 16, 3, 20, -1, 1.5);
      break;
  }
  p.bar(look.skin, 11, 16, 7, 20, 2);
  weapon(p, look.weapon, 7, 20, 1.0);
}

void mule(Pen& p, const Look& look, int frame) {
  const double s = frame == 0 ? 2.5 : -2.5;
  // Four legs, the near pair in front.
  p.bar(look.body, 14, 24, 14 + s, 34, 3);
  p.bar(look.body, 32, 24, 32 - s, 34, 3);
  p.bar(look.body, 11, 24, 11 - s, 34, 3);
  p.bar(look.body, 29, 24, 29 + s, 34, 3);
  for (double hx : {11 - s, 14 + s, 29 + s, 32 - s}) p.rect(mat::kFlat(pal::kOutline), hx - 1, 34, 3, 1);
  // Body, tail, neck and long head with its ears.
  p.ellipse(look.body, 22, 20, 14, 7);
  p.bar(look.body, 35, 15, 39, 24, 1.5);
  p.poly(look.body, {{12, 18}, {8, 8}, {12, 6}, {16, 15}});
  p.poly(look.body, {{3, 12}, {6, 6}, {11, 6}, {11, 11}, {5, 15}});
  p.bar(look.body, 9, 6, 8, 0, 2);
  p.bar(look.body, 11, 6, 12, 0, 2);
  p.dot(pal::kOutline, 7, 8);
  p.rect(mat::kFlat(look.body.dark), 3, 12, 2, 2);
  // The load: saddle bags low on the flank, cargo stacked above.
  p.rect(look.trim, 17, 15, 12, 10);
  p.line(look.trim.dark, 17, 19, 28, 19);
  p.rect(mat::kLeather, 15, 12, 16, 3);
  switch (look.head) {
    case 0:
    case 3:  // barrel
      p.rect(mat::kWood, 16, 2, 14, 10);
      p.line(pal::kStone, 16, 4, 29, 4);
      p.line(pal::kStone, 16, 9, 29, 9);
      break;
    case 1:
    case 4:  // sacks
      p.ellipse(mat::kCloth, 19, 7, 5, 5);
      p.ellipse(mat::kCloth, 27, 8, 5, 4);
      p.line(pal::kMud, 19, 2, 19, 4);
      break;
    default:  // a crate roped on
      p.rect(mat::kWood, 16, 3, 14, 9);
      p.line(pal::kBrownDark, 16, 7, 29, 7);
      p.line(pal::kTan, 23, 3, 23, 11);
      break;
  }
  if (look.weapon % 2 == 1) {  // a bundle of spears tied to the load
    p.bar(mat::kWood, 12, 10, 38, 4, 1);
    p.poly(mat::kIron, {{9, 11}, {13, 9}, {13, 12}});
  }
}

void brute(Pen& p, const Look& look, int frame) {
  const double s = frame == 0 ? 3 : -3;
  // Armoured legs.
  p.bar(look.body, 15, 32, 15 - s, 44, 5);
  p.bar(look.body, 21, 32, 21 + s, 44, 5);
  p.rect(mat::kDarkIron, 12 - static_cast<int>(s), 44, 6, 3);
  p.rect(mat::kDarkIron, 19 + static_cast<int>(s), 44, 6, 3);
  // Tabard over the mail, a heavy belt.
  p.poly(look.body, {{11, 15}, {25, 15}, {27, 33}, {9, 33}});
  p.poly(look.trim, {{13, 18}, {23, 18}, {24, 35}, {12, 35}});
  p.rect(mat::kLeather, 10, 27, 17, 3);
  p.rect(mat::kBrass, 16, 27, 3, 3);
  // Shield slung on the back, far arm.
  p.ellipse(look.trim, 28, 24, 5, 8);
  p.circle(mat::kBrass, 28, 24, 1.5);
  // Great helm facing left with its plume.
  p.rect(look.body, 11, 4, 12, 12);
  p.rect(mat::kFlat(pal::kOutline), 11, 8, 6, 1);
  p.dot(pal::kOutline, 12, 11);
  p.dot(pal::kOutline, 14, 11);
  switch (look.head % 3) {
    case 0: p.poly(look.trim, {{15, 4}, {19, 0}, {27, 1}, {30, 6}, {24, 4}}); break;
    case 1: p.bar(mat::kFlat(pal::kPale), 20, 4, 25, -2, 2); p.bar(mat::kFlat(pal::kPale), 14, 4, 10, -2, 2); break;
    default: p.rect(mat::kBrass, 11, 3, 12, 2); p.rect(mat::kBrass, 16, 3, 2, 13); break;
  }
  // Pauldrons and the weapon arm in front.
  p.circle(look.body, 23, 17, 4);
  p.circle(look.body, 13, 17, 4);
  p.bar(look.body, 12, 19, 8, 26, 4);
  weapon(p, look.weapon, 7, 26, 1.6);
  p.circle(mat::kDarkIron, 7, 26, 2);
}

Look look_of(Enemy enemy, int look) {
  const int i = (look - 1) % 6;
  switch (enemy) {
    case Enemy::kGrunt: {
      static const Material kTunic[] = {mat::kGrass, mat::kCloth, mat::kTeal, mat::kRed, mat::kLeather, mat::kPurple};
      static const Material kTrim[] = {mat::kLeather, mat::kDarkWood, mat::kCloth, mat::kLeather, mat::kGrass, mat::kLeather};
      static const int kWeapon[] = {0, 1, 2, 5, 3, 4};
      const Material skin = i % 2 == 0 ? mat::kGreenSkin : mat::kSkin;
      return Look{kTunic[i], kTrim[i], i, kWeapon[i], skin};
    }
    case Enemy::kMule: {
      static const Material kCoat[] = {Material{pal::kStone, pal::kGrey, pal::kSilver}, mat::kWood, mat::kDarkWood,
                                       Material{pal::kStone, pal::kGrey, pal::kSilver}, mat::kWood, Material{pal::kMud, pal::kGold, pal::kTan}};
      static const Material kPack[] = {mat::kRed, mat::kBlue, mat::kCloth, mat::kPurple, mat::kTeal, mat::kRed};
      return Look{kCoat[i], kPack[i], i, i, mat::kSkin};
    }
    case Enemy::kBrute:
    default: {
      static const Material kArmour[] = {mat::kIron, mat::kDarkIron, mat::kIron, mat::kDarkIron, mat::kIron, mat::kDarkIron};
      static const Material kTabard[] = {mat::kRed, mat::kBlue, mat::kPurple, mat::kRed, mat::kTeal, mat::kGold};
      static const int kWeapon[] = {2, 3, 4, 0, 3, 2};
      return Look{kArmour[i], kTabard[i], i, kWeapon[i], mat::kSkin};
    }
  }
}

}  // namespace

std::vector<kimage::Image> enemy_walk(Enemy enemy, int look) {
  static const int kWidth[] = {28, 44, 36};
  static const int kHeight[] = {34, 38, 48};
  const int kind = static_cast<int>(enemy);
  const Look l = look_of(enemy, look);
  std::vector<kimage::Image> frames;
  for (int frame = 0; frame < 2; ++frame) {
    Canvas canvas(kWidth[kind], kHeight[kind]);
    Pen pen(canvas, 1.0, 1.0, 1.0);
    switch (enemy) {
      case Enemy::kGrunt: grunt(pen, l, frame); break;
      case Enemy::kMule: mule(pen, l, frame); break;
      case Enemy::kBrute: brute(pen, l, frame); break;
    }
    canvas.outline();
    frames.push_back(canvas.image());
  }
  return frames;
}

}  // namespace assetgen
