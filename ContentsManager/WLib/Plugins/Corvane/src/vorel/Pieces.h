// Long replies are read element by element. The tree of a whole reply takes eleven times the size of the reply, whereas
// elements use the same memory one after the other, and stay in the processor's cache between parsing and reading.
//
// The reply is cut at the commas of its long array. Each element is parsed separately, and so is the frame around them.
// Reading in pieces can only succeed: in case of doubt, and after any failure, the reply is read as a whole, which
// decides.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

namespace W::vorel {

/// The array under "rsp" and a key in a long document. Its elements are parsed on access.
class Pieces {
public:
    /// Shorter replies have no pieces: their trees fit into the cache.
    static constexpr std::size_t kLeast = std::size_t{64} * 1024;

    /// @param text  must outlive the pieces
    /// @throws Json::Exception; the reply must be read as a whole then
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
