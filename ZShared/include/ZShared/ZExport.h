#pragma once

// Symbols are hidden by default; Z_EXPORT marks what a library offers to others. Default
// visibility also lets the dynamic linker unify class IDs and creators across modules.
#define Z_EXPORT __attribute__((visibility("default")))
