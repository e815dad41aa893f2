#pragma once
// The end-to-end harness of the runner: pictures of the window and digests of the world at chosen
// frames, an end after a number of frames, and fast-forward.
//
// Frames are numbered from 0, the first frame the main loop runs; frame n reads record n of a
// -playback file. A picture or digest "at frame n" is taken at the end of that frame's drawing,
// before a room change it asked for. Without -frames the game ends after the last picture or
// digest; with it, after that many frames.
//
// Fast-forward: the frame loop doesn't wait; a clock of its own moves one frame period (at the
// frame's rate) per frame instead of following real time, so every frame sees the times of an
// ideally paced run and the run's results are the same as a paced one's, only sooner.
//
// The digest is text: the frame, the room, then one line per instance of the room in id order
// (object, position, depth, sprite, image, its variables sorted by name), then the global
// variables. Reals are written with 17 significant digits, strings quoted.
#include <cstdint>
#include <string>

#include "run/options.h"

// A new round of the process loop: takes the harness switches, and with -fastforward installs its
// clock and turns frame pacing off. Call after InitGame.
void Harness_Begin(const RunOptions& options);
// Restores the real clock.
void Harness_End();
// The end of a frame's drawing: pictures and digests due now, the fast-forward clock, the end.
void Harness_FrameEnd();

// The world's digest now, and the picture of the window as a PNG file; false with a console line
// when it can't be written.
std::string Harness_Digest(int64_t frame);
bool Harness_SaveDigest(const std::string& path, int64_t frame);
bool Harness_SaveShot(const std::string& path);
