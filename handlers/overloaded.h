// Visitors of variants.
#pragma once

namespace tagsmith {

/// A visitor made of functions, one for each kind of content.
template <typename... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
// The compiler of the linter does not deduce this by itself.
template <typename... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

}  // namespace tagsmith
