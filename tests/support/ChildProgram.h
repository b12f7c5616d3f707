// The path of childProgram, the program that tests start as a child; childProgram.cpp tells its modes.

#pragma once

#include <string>

namespace halvo::test {

std::string childProgram();

}  // namespace halvo::test
