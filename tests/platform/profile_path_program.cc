// Prints where the profile file name "x.ini" leads in this process.
#include <cstdio>

#include "platform/os/profile.h"

int main() { return std::puts(qob::os::ProfilePath("x.ini").c_str()) < 0; }
