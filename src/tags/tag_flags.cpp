// SEAM(settings): the registry reader hasn't landed; until it does every flag reads as off,
// which is also what a missing settings store gives.
#include "tags/tag_assembly.h"

XTagAssemblyFlags ReadTagAssemblyFlags() { return XTagAssemblyFlags(); }
