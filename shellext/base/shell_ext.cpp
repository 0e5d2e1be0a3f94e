#include "shellext/base/shell_ext.h"

namespace tagsmith {

ULONG CShellExt::AddReference() { return ++references_; }

ULONG CShellExt::ReleaseReference() {
  if (references_ == 0) {
    return 0;
  }
  const ULONG count = --references_;
  if (count == 0) {
    delete this;
  }
  return count;
}

}  // namespace tagsmith
