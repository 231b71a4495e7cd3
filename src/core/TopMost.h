// The one rule by which every kit screen and alert finds its presenter.
#pragma once

#include "tessivo_export.h"

namespace tessivo {

class ViewController;

/// The top-most controller, starting from the key window's root controller;
/// null when there is no key window. A controller being dismissed is
/// skipped: what presents it is the answer.
TESSIVO_EXPORT ViewController *topMostViewController();
/// The same rule from a given root.
TESSIVO_EXPORT ViewController *topMostViewController(ViewController *root);

} // namespace tessivo
