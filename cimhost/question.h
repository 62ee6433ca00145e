#ifndef PCIINFO_CIMHOST_QUESTION_H
#define PCIINFO_CIMHOST_QUESTION_H

#include <functional>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "cimhost/answer.h"

namespace cimhost {

/** One request that can be put to a provider. */
struct Question {
    std::string subject;  // the class or object path that it is about, in the user's spelling
    std::function<Answer(broker::Broker&)> ask;
    bool inFull = false;  // it is about single objects, so all that they have is of interest
};

Question enumerateInstances(const std::string& className);
Question enumerateNames(const std::string& className);
/**
 * The instances that a path names; a bare class name names all of its class. A provider may deliver more than was asked
 * for, so those that do not have the path's keys are left out here; when none remains the status is
 * CMPI_RC_ERR_NOT_FOUND. Throws std::invalid_argument when `path` is no object path.
 */
Question getInstance(const std::string& path);

/**
 * What is associated with the object that a path names, and the associations themselves. The filters go to the provider
 * as they are; references know the result class and the role alone. Throws as getInstance does.
 */
Question associators(const std::string& path, const broker::Filters& filters);
Question associatorNames(const std::string& path, const broker::Filters& filters);
Question references(const std::string& path, const broker::Filters& filters);
Question referenceNames(const std::string& path, const broker::Filters& filters);

/** What an error status means for the user, as one sentence; empty for CMPI_RC_OK. */
std::string explanation(const Answer& answer, const std::string& subject);

/** The classes that the provider serves, in the order of its own table. */
const std::vector<std::string>& servedClasses();

}  // namespace cimhost

#endif
