#ifndef PCIINFO_CIMHOST_CLASSES_H
#define PCIINFO_CIMHOST_CLASSES_H

#include <string>
#include <vector>

namespace cimhost {

/** The classes that the provider serves, in the order of its own table. */
const std::vector<std::string>& servedClasses();

/** Whether it is one of them, letter case ignored. */
bool isServed(const std::string& className);

/** Whether the schema declares it, as it does these and a superclass of theirs; letter case ignored. */
bool isDeclared(const std::string& className);

/** Whether it is one of the two classes of associations, letter case ignored. */
bool isAssociation(const std::string& className);

/** Whether the class's instances are PCI functions, letter case ignored. */
bool hasFunctions(const std::string& className);

/**
 * The name of the served class that "slots", "devices", "bridges" or "board" stands for, or whose name lacks QELTA_
 * here, in any letter case; every other name as it is.
 */
std::string wholeClassName(const std::string& name);

/** The served class that a misspelt name was most likely meant to be, "" when none is near. */
std::string nearestClass(const std::string& name);

}  // namespace cimhost

#endif
