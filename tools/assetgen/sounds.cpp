#include "assetgen/sounds.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

namespace assetgen {

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Noise {
  uint32_t state;
  explicit Noise(uint32_t seed) : state(seed | 1) {}
  double next() {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return (state & 0xFFFFFF) / double(0xFFFFFF) * 2.0 - 1.0;
  }
};

size_t frames(double seconds) { return static_cast<size_t>(seconds * kSampleRate); }

void mix(Samples& into, const Samples& from, double at_seconds, double gain = 1.0) {
  const size_t start = frames(at_seconds);
  if (into.size() < start + from.size()) into.resize(start + from.size(), 0.0f);
  for (size_t i = 0; i < from.size(); ++i) into[start + i] += static_cast<float>(from[i] * gain);
}

void normalise(Samples& s, double peak) {
  double top = 1e-9;
  for (float v : s) top = std::max(top, static_cast<double>(std::fabs(v)));
  for (float& v : s) v = static_cast<float>(v / top * peak);
}

// Short fades at both ends so no sound starts or stops on a step.
void soften_edges(Samples& s, double seconds = 0.004) {
  const size_t n = std::min(frames(seconds), s.size() / 2);
  for (size_t i = 0; i < n; ++i) {
    const float g = static_cast<float>(i) / static_cast<float>(n);
    s[i] *= g;
    s[s.size() - 1 - i] *= g;
  }
}

// A plucked string (Karplus-Strong): a bowstring's twang.
Samples pluck(double frequency, double seconds, double damping, uint32_t seed) {
  Noise noise(seed);
  const size_t period = std::max<size_t>(2, static_cast<size_t>(kSampleRate / frequency));
  std::vector<double> ring(period);
  for (double& v : ring) v = noise.next();
  Samples out(frames(seconds));
  size_t at = 0;
  for (float& sample : out) {
    const size_t next = (at + 1) % period;
    const double v = ring[at];
    ring[at] = damping * 0.5 * (ring[at] + ring[next]);
    sample = static_cast<float>(v);
    at = next;
  }
  return out;
}

// A thud: a falling sine with a noise click, for wood and stone striking.
Samples thud(double from_hz, double to_hz, double seconds, double noise_amount, uint32_t seed) {
  Noise noise(seed);
  Samples out(frames(seconds));
  double phase = 0, low = 0;
  for (size_t i = 0; i < out.size(); ++i) {
    const double t = static_cast<double>(i) / kSampleRate;
    const double f = to_hz + (from_hz - to_hz) * std::exp(-t * 18);
    phase += 2 * kPi * f / kSampleRate;
    low += 0.25 * (noise.next() - low);
    const double env = std::exp(-t * 9 / seconds);
    const double click = std::exp(-t * 60 / seconds);
    out[i] = static_cast<float>(env * std::sin(phase) + noise_amount * click * low);
  }
  return out;
}

// Filtered noise sweeping in pitch: the rush of an arm through the air.
Samples whoosh(double seconds, uint32_t seed) {
  Noise noise(seed);
  Samples out(frames(seconds));
  double band = 0, low = 0;
  for (size_t i = 0; i < out.size(); ++i) {
    const double t = static_cast<double>(i) / static_cast<double>(out.size());
    const double cutoff = 0.02 + 0.25 * std::sin(t * kPi);
    low += cutoff * (noise.next() - low);
    band += cutoff * (low - band);
    out[i] = static_cast<float>((low - band) * std::sin(t * kPi) * 3.0);
  }
  return out;
}

// A horn: a few harmonics with a slow swell and a little vibrato.
Samples horn(double frequency, double seconds, double brightness) {
  Samples out(frames(seconds));
  double phase = 0;
  for (size_t i = 0; i < out.size(); ++i) {
    const double t = static_cast<double>(i) / kSampleRate;
    const double f = frequency * (1.0 + 0.006 * std::sin(2 * kPi * 5.0 * t) * std::min(t * 2, 1.0));
    phase += 2 * kPi * f / kSampleRate;
    double v = 0;
    for (int h = 1; h <= 6; ++h) v += std::pow(brightness, h - 1) * std::sin(phase * h) / h;
    const double attack = std::min(t / 0.08, 1.0);
    const double release = std::min((seconds - t) / 0.25, 1.0);
    out[i] = static_cast<float>(v * attack * std::max(release, 0.0));
  }
  return out;
}

// A recorder-like tone for the tune: a soft square-ish wave with breath.
Samples pipe(double frequency, double seconds, uint32_t seed) {
  Noise noise(seed);
  Samples out(frames(seconds));
  double phase = 0;
  for (size_t i = 0; i < out.size(); ++i) {
    const double t = static_cast<double>(i) / kSampleRate;
    phase += 2 * kPi * frequency / kSampleRate;
    const double v = std::sin(phase) + 0.25 * std::sin(3 * phase) + 0.1 * std::sin(5 * phase) + 0.03 * noise.next();
    const double env = std::min(t / 0.03, 1.0) * std::min(std::max((seconds - t) / 0.06, 0.0), 1.0);
    out[i] = static_cast<float>(v * env);
  }
  return out;
}

double note(int semitones_from_d) { return 146.83 * std::pow(2.0, semitones_from_d / 12.0); }

Samples coin() {
  Samples out;
  for (int k = 0; k < 2; ++k) {
    Samples tone(frames(0.18));
    const double f = k == 0 ? 1318.5 : 1975.5;
    for (size_t i = 0; i < tone.size(); ++i) {
      const double t = static_cast<double>(i) / kSampleRate;
      tone[i] = static_cast<float>(std::exp(-t * 22) * (std::sin(2 * kPi * f * t) + 0.3 * std::sin(2 * kPi * f * 2.76 * t)));
    }
    mix(out, tone, k * 0.07);
  }
  return out;
}

// The music: a drone on D and A under a tune in the Dorian mode, in bars of 3/4, that loops. The
// drone's frequencies are rounded so that each completes a whole number of cycles in the loop, and
// every note ends inside the loop, so the last sample leads back into the first without a click.
Samples music() {
  constexpr double kBeat = 0.5;  // 120 beats a minute
  // Scale degrees of D Dorian: D E F G A B C D.
  static const int kDorian[] = {0, 2, 3, 5, 7, 9, 10, 12, 14, 15};
  // The tune: {degree, beats}; -1 rests. 16 bars of 3 beats.
  static const int kTune[][2] = {
      {4, 2}, {3, 1}, {2, 2}, {1, 1}, {0, 3}, {-1, 3}, {2, 1}, {3, 1}, {4, 1}, {5, 2}, {4, 1}, {3, 3}, {-1, 3},
      {4, 2}, {5, 1}, {6, 2}, {5, 1}, {4, 1}, {3, 1}, {2, 1}, {1, 3}, {2, 1}, {1, 1}, {0, 1}, {1, 3}, {-1, 3},
      {7, 2}, {6, 1}, {5, 2}, {4, 1}, {5, 1}, {4, 1}, {3, 1}, {4, 3}, {2, 1}, {3, 1}, {4, 1}, {3, 2}, {2, 1},
      {1, 2}, {2, 1}, {0, 3}, {-1, 3},
  };
  int beats = 0;
  for (const auto& n : kTune) beats += n[1];
  const double length = beats * kBeat;
  const size_t total = frames(length);
  Samples out(total, 0.0f);
  // Drone: whole cycles only.
  for (double base : {note(-12), note(-5), note(0)}) {
    const double cycles = std::round(base * length);
    const double f = cycles / length;
    const double gain = base < 100 ? 0.22 : 0.12;
    for (size_t i = 0; i < total; ++i) {
      const double t = static_cast<double>(i) / kSampleRate;
      const double swell = 0.85 + 0.15 * std::sin(2 * kPi * t * 2.0 / length);  // two swells a loop, also whole
      out[i] += static_cast<float>(gain * swell * (std::sin(2 * kPi * f * t) + 0.3 * std::sin(4 * kPi * f * t)));
    }
  }
  // A soft tabor on the first beat of each bar.
  for (int bar = 0; bar < beats / 3; ++bar) mix(out, thud(150, 70, 0.25, 0.4, 90 + bar), bar * 3 * kBeat, 0.35);
  double at = 0;
  uint32_t seed = 7;
  for (const auto& n : kTune) {
    const double seconds = n[1] * kBeat;
    if (n[0] >= 0) mix(out, pipe(note(kDorian[n[0]] + 12), seconds * 0.92, seed++), at, 0.32);
    at += seconds;
  }
  out.resize(total);
  normalise(out, 0.7);
  return out;
}

}  // namespace

std::vector<SoundAsset> game_sounds() {
  std::vector<SoundAsset> sounds;
  auto add = [&](const char* name, Samples samples, double peak, bool loop = false) {
    normalise(samples, peak);
    if (!loop) soften_edges(samples);
    sounds.push_back(SoundAsset{name, std::move(samples), loop});
  };
  {
    Samples s = pluck(392, 0.35, 0.996, 1);
    mix(s, thud(220, 120, 0.12, 0.5, 2), 0.0, 0.5);
    add("sound_scorpion_fire", s, 0.8);
  }
  {
    Samples s = pluck(196, 0.55, 0.997, 3);
    mix(s, thud(140, 60, 0.3, 0.6, 4), 0.0, 0.8);
    add("sound_ballista_fire", s, 0.85);
  }
  {
    Samples s = whoosh(0.35, 5);
    mix(s, thud(120, 55, 0.3, 0.8, 6), 0.28, 0.9);
    add("sound_catapault_fire", s, 0.85);
  }
  {
    Samples s = thud(90, 40, 0.55, 1.0, 7);
    mix(s, whoosh(0.4, 8), 0.05, 0.6);
    add("sound_onager_fire", s, 0.9);
  }
  add("sound_impact_1", thud(260, 90, 0.18, 0.9, 9), 0.8);
  add("sound_impact_2", thud(180, 70, 0.22, 1.2, 10), 0.8);
  add("sound_impact_3", thud(330, 120, 0.15, 1.5, 11), 0.75);
  add("sound_tower_hit", thud(110, 50, 0.3, 1.0, 12), 0.8);
  add("sound_coin", coin(), 0.6);
  {
    Samples s = horn(note(-12), 1.3, 0.7);
    mix(s, horn(note(-5), 1.3, 0.7), 0.0, 0.6);
    add("sound_breach", s, 0.85);
  }
  {
    Samples s;
    const double starts[] = {0.0, 0.25, 0.5, 0.75};
    const int steps[] = {0, 0, 7, 12};
    const double lengths[] = {0.22, 0.22, 0.22, 1.4};
    for (int i = 0; i < 4; ++i) mix(s, horn(note(steps[i]), lengths[i], 0.8), starts[i], 0.8);
    add("sound_title", s, 0.8);
  }
  {
    Samples s;
    const int steps[] = {7, 5, 3, 0};
    for (int i = 0; i < 4; ++i) mix(s, horn(note(steps[i] - 12), i == 3 ? 1.8 : 0.7, 0.6), i * 0.6, 0.9);
    add("sound_loss", s, 0.8);
  }
  add("sound_music", music(), 0.7, true);
  return sounds;
}

}  // namespace assetgen
