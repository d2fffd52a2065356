// An invariant a harness states about what a parser hands out: a broken one stops the run
// (libFuzzer keeps the input) and names the line that states it.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

[[noreturn]] inline void InvariantBroken(const char* file, int line) {
    fprintf(stderr, "invariant broken at %s:%d\n", file, line);
    abort();
}

}  // namespace fuzz

#define FUZZ_CHECK(ok) ((ok) ? void() : fuzz::InvariantBroken(__FILE__, __LINE__))
