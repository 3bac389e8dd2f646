// The fake module under the name the shell's test knows it by.
#pragma once

#include "support/fake_camera.h"

using FakeDcamModule = FakeModule;
