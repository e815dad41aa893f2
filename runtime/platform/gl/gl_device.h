#pragma once
// The OpenGL 3.3 core device, through libepoxy. It draws with the context the window host made
// current; Present swaps through the host. Render targets are framebuffer objects drawn with the
// clip-space y negated (and the front face swapped to match), so that texel row 0 of every target
// is the top of the image; drawing to the back buffer is not flipped, which turns the picture the
// right way up on screen. Culling names windings as the finished picture shows them, so the front
// face differs between targets and the window. The present's copy of a target to the window is a
// framebuffer blit. Depth 0..1 of the matrices is mapped onto GL's -1..1 in the vertex stage.
// A texture's sampler never asks for more levels than it was given (GL_TEXTURE_MAX_LEVEL).
#include <memory>
#include <string>

#include "platform/device.h"

class IWindowHost;

// Null, with the reason in *error, when the context is missing or too old or a built-in shader
// does not compile.
std::unique_ptr<IDevice> GlDevice_Create(IWindowHost* host, std::string* error);

// `inner` run on a render thread of its own, which takes the host's graphics context from the
// calling thread and gives it back when the device is destroyed. Calls that answer wait for the
// render thread; the rest are queued, and a Present waits only for the frame before it. Where the
// render thread can't take the context, `inner` itself comes back, to be used from the caller.
std::unique_ptr<IDevice> Device_RunOnThread(std::unique_ptr<IDevice> inner, IWindowHost* host);
// The OpenGL device on its render thread: the runner's device.
std::unique_ptr<IDevice> GlDevice_CreateThreaded(IWindowHost* host, std::string* error);

// The built-in shader sources (GLSL 330 core); the set chooses the defines.
const char* GlShaders_VertexSource();
const char* GlShaders_PixelSource();
