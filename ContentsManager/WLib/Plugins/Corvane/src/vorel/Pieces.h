// Long replies are read element by element: the memory of the one serves the next, where the tree of the whole would
// take eleven times the text, and each stays in the processor's cache between being parsed and being read.
//
// The text is cut at the commas of its one long array, without being understood any further. Whether an element is JSON
// its own parse finds out, and that of the frame around them whether the rest is. Nothing is concluded from a text in
// pieces but that all is well: in any doubt, and after any failure, the text is read as a whole.
#pragma once

#include <json/value.h>
#include <string>
#include <string_view>
#include <vector>

namespace W::vorel {

/// The array under "rsp" and a key of a long document, whose elements are parsed when they are asked for.
class Pieces {
public:
    /// Shorter texts have no pieces: their trees fit the cache.
    static constexpr std::size_t kLeast = std::size_t{64} * 1024;

    /// @param text  outlives the pieces
    /// @throws what the JSON library throws; the text is to be read as a whole then
    Pieces(const std::string& text, std::string_view key);

    /// 0 when the text has to be read as a whole.
    Json::ArrayIndex size() const { return static_cast<Json::ArrayIndex>(m_elements.size()); }

    /// @throws std::exception when the element is not JSON; the text is to be read as a whole then
    Json::Value operator[](Json::ArrayIndex index) const;

    /// The document with an empty array in place of the long one.
    const Json::Value& frame() const { return m_frame; }

private:
    std::vector<std::string_view> m_elements;
    Json::Value m_frame;
};

}  // namespace W::vorel
