// bench_workload DIRECTORY: writes the workload there, unless it stands there already.
#include <cstdio>
#include <exception>

#include "workload.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: bench_workload DIRECTORY\n");
    return 64;
  }
  try {
    bench::WriteWorkload(argv[1]);
    bench::WriteWritingSamples(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_workload: %s\n", error.what());
    return 74;
  }
  return 0;
}
