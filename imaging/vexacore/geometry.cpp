#include "vexacore/geometry.h"

#include <istream>

namespace vexa {

namespace {

// The bracket that closes the given one; 0 when the character opens none.
char ClosingBracket(int open)
{
    switch (open) {
    case '(':
        return ')';
    case '[':
        return ']';
    case '{':
        return '}';
    default:
        return 0;
    }
}

} // namespace

std::istream & operator>>(std::istream & in, Vector3d<float> & vector)
{
    Vector3d<float> read;
    char const closing = ClosingBracket((in >> std::ws).peek());
    if (closing != 0) {
        in.get();
    }
    for (unsigned int i = 0; i < 3; ++i) {
        if (i > 0 && (in >> std::ws).peek() == ',') {
            in.get();
        }
        in >> read[i];
    }
    char last = closing;
    if (closing != 0) {
        in >> last;
    }
    if (last != closing) {
        in.setstate(std::ios::failbit);
    }
    if (in) {
        vector = read;
    }
    return in;
}

} // namespace vexa
