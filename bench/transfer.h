#ifndef PCIINFO_BENCH_TRANSFER_H
#define PCIINFO_BENCH_TRANSFER_H

namespace bench {

/**
 * The exchanges of one reading of the SMBIOS table out of the BMC's data store, 331 of them, as a bare loop of the
 * calls that the driver needs for them. @throws std::runtime_error where the BMC does not answer or refuses
 */
void bareTransfer();

}  // namespace bench

#endif
