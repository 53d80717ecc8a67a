#pragma once

// The entry of a component library: entry(1) gives the address of its query function, of the form
// `int (*)(int query, void* out)`, or null when it has none.
using LowLevelComponentEntry = void* (*)(int);

// Asks every component of a null-terminated array for its version and logs those found. 0 when each of them
// answers with a full version record or has no query function, else -1.
int checkLowLevelComponents(LowLevelComponentEntry const* entries);
