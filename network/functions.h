// Module functions for the host's storage network interfaces, in interfaces.cpp.
#pragma once

#include "module/interpreter.h"

namespace pyquelt {

PyObject* PyGetQueltNetworkInfo();
PyObject* PyGetQueltZelnicNames();

}  // namespace pyquelt
