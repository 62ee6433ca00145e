#ifndef PCIINFO_TESTS_UNIT_WHOLEFILE_H
#define PCIINFO_TESTS_UNIT_WHOLEFILE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/emulator/datastore.h"
#include "tests/unit/bmchost.h"

constexpr std::uint8_t kCodeBefore = 0x77;
constexpr std::uint32_t kFirstHandle = 0x00C0DE01;  // as the model of the BMC numbers them

/** What a whole-file transfer gave: its result and the completion code. */
struct Transfer {
    std::int32_t result = 0;
    std::uint8_t code = kCodeBefore;
    bool operator==(const Transfer& other) const { return result == other.result && code == other.code; }
};

inline std::ostream& operator<<(std::ostream& out, const Transfer& transfer) {
    return out << "result " << transfer.result << ", code " << int{transfer.code};
}

/** One read or write request as sent. */
struct Piece {
    std::size_t offset = 0;
    std::size_t count = 0;
    bool operator==(const Piece& other) const { return offset == other.offset && count == other.count; }
};

inline std::ostream& operator<<(std::ostream& out, const Piece& piece) {
    return out << piece.count << " at " << piece.offset;
}

using Pieces = std::vector<Piece>;

/** The pieces of `total` bytes from `offset` on, `size` at a time. */
inline Pieces piecesOf(std::size_t size, std::size_t total = 65536, std::size_t offset = 0) {
    Pieces pieces;
    for (; offset < total; offset += size) pieces.push_back({offset, std::min(size, total - offset)});
    return pieces;
}

inline Pieces joined(Pieces first, const Pieces& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline Pieces repeated(const Piece& piece, std::size_t times) {
    return Pieces(times, piece);
}

/** A store whose chunks stay at 200 bytes. */
class SteadyStore : public tPCIInfo::IpmiDataStore {
 public:
    SteadyStore() { kcsBuffAdaptive = false; }
};

class WholeFileTest : public BmcHostTest {
 protected:
    ~WholeFileTest() override { EXPECT_THAT(host.logTexts(), testing::IsEmpty()); }

    Transfer readFile(tPCIInfo::IpmiDataStore& store, bool stopIfBlank = false, const std::string& name = "file") {
        Transfer transfer;
        transfer.result = store.ReadFile(transfer.code, name, data, false, 16, tPCIInfo::kAccessRead, stopIfBlank);
        return transfer;
    }
    Transfer readFile(bool stopIfBlank = false, const std::string& name = "file") {
        tPCIInfo::IpmiDataStore store;
        return readFile(store, stopIfBlank, name);
    }

    Transfer writeFile(tPCIInfo::IpmiDataStore& store, const Bytes& content, const std::string& name = "file") {
        Transfer transfer;
        const tPCIInfo::ByteVector bytes(content.begin(), content.end());
        transfer.result = store.WriteFile(transfer.code, name, bytes, false, 16);
        return transfer;
    }
    Transfer writeFile(const Bytes& content, const std::string& name = "file") {
        tPCIInfo::IpmiDataStore store;
        return writeFile(store, content, name);
    }

    /** The storage of `data` from its first byte, read past the vector's length. */
    Bytes storage(std::size_t length = 65536) const {
        EXPECT_GE(data.capacity(), length);
        return {data.data(), data.data() + length};
    }

    /** The operation codes of the requests that were sent, pieces of one kind in a row as one: "open read close". */
    std::string operations() const {
        static const std::map<int, std::string> names{{1, "open"},  {2, "read"},  {3, "write"}, {4, "write-defaults"},
                                                      {5, "close"}, {6, "query"}, {7, "delete"}};
        std::string text;
        std::string last;
        for (const Bytes& request : requests()) {
            const std::string& name = names.at(request.at(3));
            if (name == last && (name == "read" || name == "write")) continue;
            text += (text.empty() ? "" : " ") + name;
            last = name;
        }
        return text;
    }

    Pieces reads() const {
        Pieces pieces;
        for (const Bytes& request : requests()) {
            if (request.at(3) != 2) continue;
            EXPECT_EQ(request[10] | request[11], 0);
            pieces.push_back({offsetOf(request), request.at(12)});
        }
        return pieces;
    }
    Pieces writes() const {
        Pieces pieces;
        for (const Bytes& request : requests()) {
            if (request.at(3) == 3) pieces.push_back({offsetOf(request), request.size() - 12});
        }
        return pieces;
    }

    tPCIInfo::ByteVector data = tPCIInfo::ByteVector(64);

 private:
    static std::size_t offsetOf(const Bytes& request) { return request.at(8) | std::size_t{request.at(9)} << 8; }
};

#endif
