// Reads elements of the Basic Encoding Rules as SNMP has them. Pure functions, any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zvevent::tool {

class BerReader {
public:
    explicit BerReader(std::string_view bytes) : rest_(bytes) {}

    bool IsEmpty() const { return rest_.empty(); }

    // Takes the next element; false when there is none or it reaches beyond the bytes.
    bool Next(unsigned char& tag, std::string_view& contents);

    // Takes the next element if it has this tag.
    bool Expect(unsigned char tag, std::string_view& contents);

private:
    std::string_view rest_;
};

// False when the contents are empty or longer than 64 bits.
bool ReadBerSigned(std::string_view contents, std::int64_t& number);
bool ReadBerUnsigned(std::string_view contents, std::uint64_t& number);

// In dotted form, or empty when the contents are no object identifier.
std::string BerObjectIdentifier(std::string_view contents);

}  // namespace zvevent::tool
