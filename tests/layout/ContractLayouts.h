#ifndef LAYOUT_CONTRACTLAYOUTS_H
#define LAYOUT_CONTRACTLAYOUTS_H

#include <vector>

#include "ClassLayout.h"

/// The classes that cross the component's boundary, as hosts that were compiled apart from it know them.
std::vector<ClassLayout> contractLayouts();

/// The component's own classes.
std::vector<ClassLayout> componentLayouts();

#endif
