#ifndef PCIINFO_BROKER_CLASSES_H
#define PCIINFO_BROKER_CLASSES_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "broker/broker.h"

namespace broker {

/** The classes declared to a broker. Names are compared without regard to case. Safe for any number of threads. */
class Classes {
 public:
    using Declaration = std::shared_ptr<const ClassDeclaration>;

    /** Takes the place of one of that name. */
    void add(const ClassDeclaration& declaration);
    Declaration find(const std::string& name) const;  // null where there is none
    bool isA(const std::string& name, const std::string& ancestor) const;
    /** The class and those below it without the abstract ones, in the order of their declaration. */
    std::vector<std::string> concreteFrom(const std::string& name) const;
    /** The association classes with a reference to which an object of that class may be bound. */
    std::vector<std::string> associationsOf(const std::string& sourceClass) const;

 private:
    std::vector<Declaration> all() const;

    mutable std::mutex mutex_;
    std::vector<Declaration> declared_;
};

}  // namespace broker

#endif
