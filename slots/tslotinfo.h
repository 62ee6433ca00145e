#ifndef PCIINFO_SLOTS_TSLOTINFO_H
#define PCIINFO_SLOTS_TSLOTINFO_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include <cstdint>
#include <string>

namespace tPCIInfo {

/** The SMBIOS system slot structure (type 9, DMTF DSP0134), as far as it is used: 13 bytes, unaligned, as they stand.
 */
struct DMIType9 {
    std::uint8_t type;
    std::uint8_t length;  // of the formatted area
    std::uint8_t handle[2];
    std::uint8_t designation;  // string number; not used, the designation is always taken as string 1
    std::uint8_t slotType;
    std::uint8_t dataBusWidth;  // code, not bits
    std::uint8_t currentUsage;
    std::uint8_t slotLength;
    std::uint8_t slotIdLow;
    std::uint8_t slotIdHigh;
    std::uint8_t characteristics1;
    std::uint8_t characteristics2;

    /** The slot number everywhere in the provider: the two ID bytes or-ed, 8 bits, not the 16-bit ID. */
    std::uint8_t number() const { return slotIdLow | slotIdHigh; }
};
static_assert(sizeof(DMIType9) == 13, "read byte by byte from the table");

/** What a usage code says of a slot: the operational status, and the usage in words. */
struct SlotUsage {
    unsigned short operationalStatus;
    const char* text;
};

/**
 * The system slots that the SMBIOS table describes, as "QELTA_SystemSlot" paths and instances. The table is fetched
 * from the BMC's data store at every call; when it cannot be had there are no slots, and
 * the log does not say why.
 */
class TSlotInfo {
 public:
    /** Delivers every slot to the result, as paths or as instances. The class is "QELTA_SystemSlot" whatever is given.
     */
    void GetCIMInstances(const CMPIBroker* broker, const CMPIResult* result, const std::string& className,
                         bool namesOnly);
    void GetSlotInfo(const CMPIBroker* broker, const CMPIResult* result, bool namesOnly);

    /**
     * Delivers one slot. `structure` points to the record's bytes and the strings after them, `end` to the end of the
     * storage.
     */
    void DumpSlotInfo(const DMIType9& record, const CMPIResult* result, const std::uint8_t* structure,
                      const std::uint8_t* end, const CMPIBroker* broker, bool namesOnly);

    /** The highest slot number, 0 when there is none. */
    std::uint16_t GetMaxSystemSlot();

    /** The path of a slot, with its four keys; null when it cannot be made. Class name first, then namespace. */
    CMPIObjectPath* getObjectPath(const CMPIBroker* broker, const std::string& className, const std::string& nameSpace,
                                  int slotNumber);

    /** "System Slot 3" for slot 3. */
    void getTag(std::string& tag, int slotNumber);
    std::string getSystemName();
    std::string getSystemCreationClassName();

    static SlotUsage usageOf(std::uint8_t code);

    /** Bits of an SMBIOS data bus width code, 1 to 128; 0 for a code that names no width. */
    static int GetSlotDataBusWidth(std::uint8_t code);

    /**
     * Text of string `index`, read without regard to the end of the string set: the formatted area's length is taken
     * as a signed byte, and the walk to a string number above 1 goes on to `end`. "(null string)" when no string set
     * follows or when it would lie outside the storage from `begin` to `end`.
     */
    static std::string GetString(int index, const std::uint8_t* structure, const std::uint8_t* begin,
                                 const std::uint8_t* end);

 private:
    CMPIInstance* createInstance(const CMPIBroker* broker, CMPIObjectPath* path, const DMIType9& record,
                                 const std::uint8_t* structure, const std::uint8_t* end);
};

}  // namespace tPCIInfo

#endif
