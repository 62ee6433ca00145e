#ifndef PCIINFO_MOF_VALUES_H
#define PCIINFO_MOF_VALUES_H

#include <optional>
#include <string>

#include "mof/parser.h"
#include "mof/schema.h"

namespace mof {

/** The type with that name, whatever its letter case; none for "reference", which no MOF text writes so. */
std::optional<Type> typeNamed(const std::string& name);

/** What an error shows of a constant: of strings and characters their kind, as they may be anything. */
std::string shown(const syntax::Constant& constant);

/** Whether a value of that type can be written so, in kind, range and form. No constant is a reference. */
bool holds(Type type, const syntax::Constant& constant);

}  // namespace mof

#endif
