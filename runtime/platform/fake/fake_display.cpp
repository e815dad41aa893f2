#include "platform/fake/fake_display.h"

#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"

namespace {

std::unique_ptr<IWindowHost> create_host() { return std::make_unique<FakeWindowHost>(); }

std::unique_ptr<IDevice> create_device(IWindowHost* host, std::string*) {
  int32_t width = 0, height = 0;
  host->ClientSize(&width, &height);
  auto device = std::make_unique<NullDevice>(width, height);
  device->set_recording(false);
  return device;
}

}  // namespace

DisplayBackend FakeDisplay_Backend() { return DisplayBackend{create_host, create_device}; }
