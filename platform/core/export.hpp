// Marks what libtlklibs.so offers to libvswitch.so and libdvs.so; everything else stays inside a library.
#pragma once

#define HOST_API __attribute__((visibility("default")))
