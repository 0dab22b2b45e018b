// Counts the heap allocations this program makes between start and stop, from any thread and
// from any library it loads.
#pragma once

namespace kestrel::allocation {
void startCounting();
// Stops counting and returns the allocations seen since startCounting.
long stopCounting();
// Whether malloc and its relatives are counted too (not in the sanitizer builds, whose
// runtimes replace them); operator new always is.
bool countsMalloc();
}  // namespace kestrel::allocation
