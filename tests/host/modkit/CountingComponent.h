#ifndef MODKIT_COUNTINGCOMPONENT_H
#define MODKIT_COUNTINGCOMPONENT_H

#include "interfaces/ComponentExports.h"

extern "C" {
/// What CountingComponent, a component that keeps the contract, exports beside the three functions of every component:
/// the number of its objects that are alive, and of ModkitDeleteObject's calls that deleted one.
MODKIT_EXPORT int countingComponentLiveObjects();
MODKIT_EXPORT int countingComponentDeletedObjects();
}

#endif
