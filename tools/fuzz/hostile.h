#pragma once

#include <cstdint>
#include <random>
#include <string>

namespace fuzz {

/// The maker of one input: everything in it follows from the seed and the input's number, so that the two
/// bring it back. What was made so far is noted, for the file that a crash leaves.
class Hostile {
public:
    Hostile(uint64_t seed, uint64_t number) : m_random(seed * 0x9E3779B97F4A7C15U + number) {}

    uint32_t Below(uint32_t end) { return static_cast<uint32_t>(m_random() % end); }
    bool OneIn(uint32_t chances) { return Below(chances) == 0; }
    template <class Array>
    const auto& OneOf(const Array& choices) {
        return choices[Below(static_cast<uint32_t>(std::size(choices)))];
    }

    /// Small ones, those at the borders of their types, and any.
    uint32_t Number();
    /// Of the messages of the three pipes, and any.
    uint32_t MessageId();
    /// What stands in place of a user, an action, a path.
    std::string Word();
    /// A document of the keys and values that settings know, nested at random, at times very deeply.
    std::string Json();
    /// A sound text with a few changes: bytes, runs of it twice or not at all, another value in its place.
    std::string Changed(std::string text);

    /// A payload of fields: u number, q two numbers, w wide text, j wide JSON, n narrow text, k narrow JSON,
    /// r a report of the visual effects, * the fields before it once more, as often as it likes. Then it
    /// lies: cut, too long, a changed byte.
    std::string Payload(const char* fields);

    /// Takes part in what is saved.
    void Note(const std::string& part);

private:
    std::string _Value(int levels);
    std::string _Field(char field);

    std::mt19937_64 m_random;
};

/// What the present input is made of, for whoever finds it guilty.
const std::string& MadeSoFar();
void ForgetMade();

}  // namespace fuzz
