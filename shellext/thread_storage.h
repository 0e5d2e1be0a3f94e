// Where the module's thread-local variables live: the language run-time library's, for exceptions
// in flight, and the module's own.
//
// The compiler's own storage takes a TLS index at each load, and memory and two handles for each
// thread, and gives none of them back when the module is unloaded.
#pragma once

namespace tagsmith {

/// For a thread that ends.
void ReleaseThreadStorage();

/// At unload, when no other thread is in the module any more.
void ReleaseAllThreadStorage();

}  // namespace tagsmith
