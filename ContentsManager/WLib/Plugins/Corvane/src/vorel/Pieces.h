// Long replies are read element by element: one element's memory serves the next, whereas the tree of the whole takes
// eleven times the size of the reply, and each element stays in the processor's cache between parsing and reading.
//
// The reply is cut at the commas of its one long array. Each element is then parsed on its own, and so is the frame
// around them. Only success is concluded from reading in pieces: in any doubt, and after any failure, the reply is read
// as a whole.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

namespace W::vorel {

/// The array under "rsp" and a key of a long document, whose elements are parsed when they are asked for.
class Pieces {
public:
    /// Shorter replies have no pieces: their trees fit the cache.
    static constexpr std::size_t kLeast = std::size_t{64} * 1024;

    /// @param text  outlives the pieces
    /// @throws what the JSON library throws; the reply must be read as a whole then
    Pieces(const std::string& text, std::string_view key);

    /// 0 if the reply must be read as a whole.
    Json::ArrayIndex size() const { return static_cast<Json::ArrayIndex>(m_elements.size()); }

    /// @throws std::exception if the element is not JSON; the reply must be read as a whole then
    Json::Value operator[](Json::ArrayIndex index) const;

    /// The document with an empty array in place of the long one.
    const Json::Value& frame() const { return m_frame; }

private:
    std::vector<std::string_view> m_elements;
    Json::Value m_frame;
};

}  // namespace W::vorel
