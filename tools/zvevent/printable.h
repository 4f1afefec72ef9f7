// Texts from elsewhere, made safe for a terminal. Pure functions, any thread.
#pragma once

#include <string>
#include <string_view>

namespace zvevent::tool {

// The text with everything that could steer a terminal or disguise what stands there written out:
// "\n",
// "\t", and "\x1B" for other control characters (also those beyond ASCII), for marks that change
// the direction of writing, and for bytes that are not UTF-8. A backslash stays as it is.
std::string Printable(std::string_view text);

enum class Colour { kNone, kRed, kYellow, kGreen, kDim, kBold };

// Colours texts, or leaves them as they are.
class Painter {
public:
    // Colours on a terminal, unless the environment says NO_COLOR.
    static Painter ForOutput();

    explicit Painter(bool colours) : colours_(colours) {}

    // `text` is put in as it is.
    std::string operator()(Colour colour, std::string_view text) const;

private:
    bool colours_;
};

}  // namespace zvevent::tool
