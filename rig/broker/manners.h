#ifndef PCIINFO_BROKER_MANNERS_H
#define PCIINFO_BROKER_MANNERS_H

#include <cmpi/cmpidt.h>

#include <string>
#include <vector>

namespace broker {

/**
 * Whose manners an object manager has where object managers differ. `standard`: as DSP0200 and CMPI have it, and
 * lenient where they leave it open. `sfcb`, `pegasus`: as sfcb 1.3 and OpenPegasus 2.14 were seen to do. `strict`:
 * whatever one of them refuses is refused, and where they differ the harder one counts; requests are passed on as they
 * are made.
 */
enum class Manners { standard, sfcb, pegasus, strict };

/** The manners with that name. Throws std::invalid_argument, which names those that there are. */
Manners mannersNamed(const std::string& name);
std::string nameOf(Manners manners);
/** All of them. */
const std::vector<Manners>& allManners();

namespace manners {

/** A behaviour: what it is under each of the manners. */
template <typename Behaviour>
struct Row {
    Behaviour standard;
    Behaviour sfcb;
    Behaviour pegasus;
    Behaviour strict;

    constexpr Behaviour of(Manners manners) const {
        switch (manners) {
            case Manners::sfcb:
                return sfcb;
            case Manners::pegasus:
                return pegasus;
            case Manners::strict:
                return strict;
            default:
                return standard;
        }
    }
};

/** Something that a provider does and an object manager may mind. */
enum class Verdict {
    taken,
    dropped,   // the call answers OK and has no effect
    mismatch,  // refused with CMPI_RC_ERR_TYPE_MISMATCH
    datatype,  // refused with CMPI_RC_ERR_INVALID_DATA_TYPE
    failed,    // refused with CMPI_RC_ERR_FAILED
    noClass,   // refused with CMPI_RC_ERR_INVALID_CLASS
    noSuch,    // refused with CMPI_RC_ERR_NO_SUCH_PROPERTY
    fatal,     // the manager's process ends: the client gets an error and no object
};

/** Where the path of an instance comes from. */
enum class PathOf {
    creation,  // what it was made with; key properties have no effect on it
    keys,      // the properties that are keys in the schema, as they are at the moment
    both,      // the former, and a key property that differs from it is refused
};

/** How association requests reach the provider. */
enum class Dispatch {
    asAsked,
    byFilter,      // once with the client's filters, if an association class that they name exists and is one
    perReference,  // once for every association class with a reference that fits the source's class, which is set
};

/** In which order the keys of a delivered path are listed. */
enum class Order {
    asMade,
    inheritedReversed,  // those that the class inherits first, the last of them in front
};

using Choice = Row<bool>;
using Verdicts = Row<Verdict>;

// clang-format off
//
// The table. What it says of classes, properties and types goes for classes that are declared to the broker, see
// Broker::declareClass; under the standard manners it need not know any.

// --- objects ------------------------------ standard ------------ sfcb ---------------- pegasus --------------- strict
/** newInstance copies the path's keys into the instance. */
constexpr Choice kKeysBecomeProperties     { true,              true,               false,                  false };
constexpr Row<PathOf> kPathOfInstance      { PathOf::creation,  PathOf::keys,       PathOf::creation,       PathOf::both };
/** newInstance for a class that the schema lacks. */
constexpr Verdicts kUndeclaredClass        { Verdict::taken,    Verdict::fatal,     Verdict::noClass,       Verdict::noClass };
/** setProperty of a property that the schema lacks. */
constexpr Verdicts kUndeclaredProperty     { Verdict::taken,    Verdict::taken,     Verdict::dropped,       Verdict::noSuch };
/** A value on a property of another type: text on a number, a single value on an array, anything else. */
constexpr Verdicts kTextOnNumber           { Verdict::taken,    Verdict::mismatch,  Verdict::datatype,      Verdict::datatype };
constexpr Verdicts kScalarOnArray          { Verdict::taken,    Verdict::mismatch,  Verdict::datatype,      Verdict::datatype };
constexpr Verdicts kOtherType              { Verdict::taken,    Verdict::taken,     Verdict::datatype,      Verdict::datatype };
/** setElementAt with another type than the array was made with. */
constexpr Verdicts kElementOfOtherType     { Verdict::failed,   Verdict::failed,    Verdict::mismatch,      Verdict::mismatch };
/** release of what the manager owns. The object stays. */
constexpr Verdicts kReleaseOfManagersOwn   { Verdict::failed,   Verdict::failed,    Verdict::failed,        Verdict::failed };

// --- results ------------------------------ standard ------------ sfcb ---------------- pegasus --------------- strict
/** The second returnInstance of a get. */
constexpr Verdicts kSecondInstanceOfGet    { Verdict::taken,    Verdict::taken,     Verdict::failed,        Verdict::failed };
/** An object that is returned after returnDone. */
constexpr Verdicts kDeliveryAfterDone      { Verdict::taken,    Verdict::taken,     Verdict::taken,         Verdict::failed };
constexpr Verdicts kReturnDataOfReference  { Verdict::datatype, Verdict::fatal,     Verdict::fatal,         Verdict::datatype };

// --- upcalls ------------------------------ standard ------------ sfcb ---------------- pegasus --------------- strict
/** The state with which an enumeration hands over elements that are there. */
constexpr Row<CMPIValueState> kStateOfElements{ CMPI_goodValue, CMPI_goodValue,     CMPI_nullValue,         CMPI_nullValue };
/** An upcall that the provider answers with an error gives no enumeration, where others give an empty one. */
constexpr Choice kNoEnumerationOnError     { false,             false,              true,                   true };
/** An upcall for a class or a namespace that there is not gives an error and no object; the provider is not asked. */
constexpr Choice kUpcallsNeedClass         { false,             true,               true,                   true };

// --- requests of clients ------------------ standard ------------ sfcb ---------------- pegasus --------------- strict
/** Integer keys arrive as uint64 or sint64, whatever their type. */
constexpr Choice kIntegerKeysWidened       { false,             true,               false,                  true };
/** A get is answered with the first object that is delivered, under the path asked for; with an error without one. */
constexpr Choice kGetGivesFirst            { false,             true,               true,                   false };
/** An enumeration asks for the class and each below it that is not abstract, by its own name. */
constexpr Choice kEnumerationDescends      { false,             true,               true,                   false };
/** A client's property list is left to the provider, which may deliver more than it names. */
constexpr Choice kPropertyListsUnread      { false,             true,               false,                  false };
constexpr Row<Order> kOrderOfKeys          { Order::asMade,     Order::inheritedReversed, Order::asMade,    Order::asMade };
constexpr Row<Dispatch> kAssociationDispatch { Dispatch::asAsked, Dispatch::byFilter, Dispatch::perReference, Dispatch::asAsked };
// clang-format on

}  // namespace manners

}  // namespace broker

#endif
