// The fuzzer's interpreter: reads bytes as a sequence of member calls on the real plug-in through
// the emulated host, and checks afterwards that nothing was left behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace xqt::fuzz {

// Runs one sequence in the process's host (loaded on first use from the default plug-in path).
// Returns an empty string when the sequence left no host object, string, interface misuse,
// descriptor or backing file behind; otherwise what was left.
std::string RunSequence(const uint8_t* data, size_t size);

// Members of PictureXQT and PictureFactoryXQT (instance and shared) that the interpreter reaches.
size_t ReachableMembers();

}  // namespace xqt::fuzz
