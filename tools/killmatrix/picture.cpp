#include "tools/killmatrix/picture.h"

#include <sstream>
#include <stdexcept>

namespace killmatrix {

std::string ToText(const Picture& picture) {
    std::ostringstream text;
    for (const auto& [name, value] : picture)
        text << name << '=' << value << '\n';
    return text.str();
}

Picture ParsePicture(const std::string& text) {
    Picture picture;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        const size_t equals = line.find('=');
        if (equals == std::string::npos) throw std::runtime_error("a picture has no line like " + line);
        picture[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return picture;
}

}  // namespace killmatrix
