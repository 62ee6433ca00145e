#ifndef PCIINFO_CIMHOST_QUESTION_H
#define PCIINFO_CIMHOST_QUESTION_H

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "broker/objectmanager.h"
#include "cimhost/selection.h"

namespace cimhost {

using Instances = std::vector<broker::Instance>;
using Names = std::vector<broker::ObjectPath>;

/** What one question brought: the objects in the order in which they were delivered, and the status. */
struct Answer {
    CMPIrc status = CMPI_RC_OK;
    std::variant<Instances, Names> objects;
    // Set where the object that the question is about does not exist: those of its class that do.
    std::optional<Names> existing = std::nullopt;
    std::string refusal = {};  // what an object manager elsewhere said of a status that is not OK; empty: nobody did
};

/** One request that can be put to an object manager. */
struct Question {
    std::string subject;  // the class or object path that it is about, in the user's spelling
    std::function<Answer(broker::ObjectManager&)> ask;
    bool inFull = false;  // it is about single objects, so all that they have is of interest
    // Filters by a class that the provider does not serve, "--assoc-class NAME"; of these the one by the class of the
    // associations, which object managers look up, "" where that is served or not given.
    std::vector<std::string> unservedFilters = {};
    std::string associationFilter = {};
    unsigned readings = 0;  // of the SMBIOS table that the answer takes at most; 0: not known
    // The classes that there may be objects of in the answer, and whether it has their names alone.
    std::vector<std::string> classes = {};
    bool namesOnly = false;
};

/** Puts a question to whoever is asked. */
using Ask = std::function<Answer(const Question&)>;

Question enumerateInstances(const std::string& className);
Question enumerateNames(const std::string& className);

/**
 * The instances that an object named as pathsNamedBy() takes it, or all of a class where no key is named. A provider
 * may deliver more than was asked for, so those that do not have the path's keys are left out here; when none remains
 * the status is CMPI_RC_ERR_NOT_FOUND. Throws std::invalid_argument when `object` names none.
 */
Question getInstance(const std::string& object);

/** An object manager's requests for associations. */
enum class AssociationRequest { associators, associatorNames, references, referenceNames };

/**
 * What is associated with an object, or the associations themselves. The filters go to the provider as they are;
 * references know the result class and the role alone. Where a slot leads to nothing, the provider is asked for the
 * slots' names as well, to tell one that is missing. Throws as getInstance does.
 */
Question askAssociations(AssociationRequest request, const std::string& object, const broker::Filters& filters);

/** The same question, of whose answer what the selection chooses is kept. */
Question selected(Question question, const Selection& selection);

/** What to say of filters that the provider does not know, a sentence each. */
std::vector<std::string> doubts(const Question& question);

/** What an answer leaves to be said to the user, as one sentence; empty where it speaks for itself. */
std::string explanation(const Answer& answer, const std::string& subject);
/** The same, where the object manager may have refused a filter of the question. */
std::string explanation(const Answer& answer, const Question& question);

}  // namespace cimhost

#endif
