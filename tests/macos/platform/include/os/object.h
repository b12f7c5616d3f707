// The test platform's release of an object of the system. See Logs.cpp.

#pragma once

extern "C" void os_release(void* object);
