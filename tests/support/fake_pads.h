#pragma once
// Pads for the fake window host's list: a controller of the fixed layout (with rumble) and a plain
// joystick of raw buttons, axes and one hat, under the host's id.
#include <string>

#include "platform/fake/fake_window_host.h"

inline FakeWindowHost::FakePad FakeController(int32_t id, const std::string& name = "Test Pad") {
  FakeWindowHost::FakePad pad;
  pad.info.id = id;
  pad.info.controller = true;
  pad.info.rumble = true;
  pad.info.name = name;
  pad.info.guid = "03000000de2800000112000001000000";
  pad.info.buttons = 11;
  pad.info.axes = 6;
  return pad;
}

inline FakeWindowHost::FakePad FakeJoystick(int32_t id, const std::string& guid, const std::string& name = "Plain Stick",
                                            int32_t buttons = 8, int32_t axes = 4) {
  FakeWindowHost::FakePad pad;
  pad.info.id = id;
  pad.info.name = name;
  pad.info.guid = guid;
  pad.info.buttons = buttons;
  pad.info.axes = axes;
  pad.info.hats = 1;
  return pad;
}
