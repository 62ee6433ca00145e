#ifndef PCIINFO_BOARD_TSYSBRD_H
#define PCIINFO_BOARD_TSYSBRD_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include <string>

namespace tPCIInfo {

struct Delivery;

/**
 * The host's one system board as "QELTA_SystemBoard", and the association "QELTA_OnBoardDevice" from the board
 * ("Antecedent") to every PCI function whose "UINumber" is 0 ("Dependent"). The functions are fetched through the
 * object manager, which calls this provider again. Class names are compared with regard to case.
 */
class TSysBrd {
 public:
    /** Delivers what the class has; nothing for any other class. The result is always 0. */
    int GetCIMInstances(const CMPIBroker* broker, const CMPIResult* result, const CMPIContext* context,
                        const std::string& className, bool namesOnly);

    /** The board's instance, with its path in "root/kavix"; null when it cannot be made. */
    CMPIInstance* PopulateSysbrdProperties(const CMPIBroker* broker, const std::string& className);

    /** Delivers one association for every function on the board. No exception leaves it. */
    void MakeDeviceBoardAssociation(const CMPIBroker* broker, const CMPIResult* result, const CMPIContext* context,
                                    bool namesOnly);

    /** The board's path with its four keys; a null `deviceId` is the board's own. Null when it cannot be made. */
    CMPIObjectPath* getObjectPath(const CMPIBroker* broker, const std::string& nameSpace, const std::string& className,
                                  const std::string* deviceId);
    /** An association's path with its two references. Null when it cannot be made. */
    CMPIObjectPath* getObjectPath(const CMPIBroker* broker, const std::string& nameSpace, const std::string& className,
                                  CMPIObjectPath* antecedent, CMPIObjectPath* dependent);

    std::string getDeviceID();
    std::string getSystemName();
    std::string getSystemCreationClassName();

 private:
    void associateBoard(const Delivery& to);
    void associateAll(const Delivery& to, const CMPIInstance* board, CMPIEnumeration* functions,
                      const char* updateWord);
    void associate(const Delivery& to, const CMPIInstance* board, const CMPIInstance* function, const char* updateWord);
};

}  // namespace tPCIInfo

#endif
