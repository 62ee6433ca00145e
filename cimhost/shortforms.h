#ifndef PCIINFO_CIMHOST_SHORTFORMS_H
#define PCIINFO_CIMHOST_SHORTFORMS_H

#include <string>
#include <vector>

#include "broker/broker.h"

namespace cimhost {

/** Where the provider's classes are. */
constexpr const char* kNamespace = "root/kavix";
/** What the names of the provider's classes begin with. */
constexpr const char* kPrefix = "QELTA_";

// --- classes; letter case is ignored ---

/** The classes that the provider serves, in the order of its own table. */
const std::vector<std::string>& servedClasses();

bool isServed(const std::string& className);

/** Whether the schema declares it, as it does those that are served and a superclass of theirs. */
bool isDeclared(const std::string& className);

bool isAssociation(const std::string& className);

/** Whether the class is served and its instances are PCI functions. */
bool hasFunctions(const std::string& className);

/**
 * The name of the served class that "slots", "devices", "bridges" or "board" stands for, or whose name lacks QELTA_
 * here; every other name as it is.
 */
std::string wholeClassName(const std::string& name);

/** The served class that a misspelt name was most likely meant to be, "" when none is near. */
std::string nearestClass(const std::string& name);

// --- objects ---

/**
 * The object that a text names: a slot as its number (5), a PCI function as lspci writes it (16:00.0), the board as
 * "board", every object as an object path, whose class may lack QELTA_. Of a function the class cannot be told from the
 * location: the paths of a device and of a bridge, one of which may exist. Throws std::invalid_argument that says what
 * is wrong with the text.
 */
std::vector<broker::ObjectPath> pathsNamedBy(const std::string& text);

}  // namespace cimhost

#endif
