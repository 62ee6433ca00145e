#ifndef PCIINFO_CIMHOST_SHORTFORMS_H
#define PCIINFO_CIMHOST_SHORTFORMS_H

#include <string>
#include <vector>

#include "broker/broker.h"

namespace cimhost {

/**
 * The object that a text names: a slot as its number (5), a PCI function as lspci writes it (16:00.0), the board as
 * "board", every object as an object path, whose class may lack QELTA_. Of a function the class cannot be told from the
 * location: the paths of a device and of a bridge, one of which may exist. Throws std::invalid_argument that says what
 * is wrong with the text.
 */
std::vector<broker::ObjectPath> pathsNamedBy(const std::string& text);

}  // namespace cimhost

#endif
