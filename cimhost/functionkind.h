#ifndef PCIINFO_CIMHOST_FUNCTIONKIND_H
#define PCIINFO_CIMHOST_FUNCTIONKIND_H

#include <string>
#include <vector>

#include "cimhost/tree.h"

namespace cimhost {

/** The colours of one ground: CSS numbers, "#dbeafe". Text has a contrast of at least 4.5 on its fill. */
struct Colours {
    const char* fill;
    const char* line;
    const char* text;
};

/** Functions of one kind have one colour in pictures. */
struct FunctionKind {
    const char* name;  // in the legend
    const char* word;  // the class in style sheets
    Colours light;
    Colours dark;
};

/** All kinds, in the legend's order; the last is of whatever fits no other. */
const std::vector<FunctionKind>& functionKinds();

/** By base class and subclass, as PCI-SIG assigns them. */
const FunctionKind& kindOf(const Function& function);

}  // namespace cimhost

#endif
