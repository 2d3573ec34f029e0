// Records: genres and the representative genres that group them.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "WResource.h"
#include "WVLImage.h"

#pragma GCC visibility push(default)
namespace W {

/// A genre. Programmes carry the ID only; the genre list carries everything.
class WVLGenre : public WResource {
public:
    WVLGenre() = default;
    WVLGenre(const WVLGenre&) = default;
    WVLGenre(WVLGenre&&) noexcept = default;
    WVLGenre& operator=(const WVLGenre&) = default;
    WVLGenre& operator=(WVLGenre&&) noexcept = default;
    ~WVLGenre() override;

    void setGenreID(std::string genreID) { m_genreID = std::move(genreID); }
    void setGenreName(std::string genreName) { m_rare.set(&Rare::GenreName, std::move(genreName)); }
    void setGenreRepID(std::string genreRepID) { m_rare.set(&Rare::GenreRepID, std::move(genreRepID)); }
    void setGenreImages(std::list<WVLImage> list) { m_rare.set(&Rare::GenreImages, std::move(list)); }

    const std::string& getGenreID() const { return m_genreID; }
    const std::string& getGenreName() const { return m_rare.get().GenreName; }
    const std::string& getGenreRepID() const { return m_rare.get().GenreRepID; }
    const std::list<WVLImage>& getGenreImages() const { return m_rare.get().GenreImages; }

private:
    struct Rare {
        std::string GenreName;
        std::string GenreRepID;
        std::list<WVLImage> GenreImages;
    };
    std::string m_genreID;
    WRarely<Rare> m_rare;
};

/// A representative genre.
class WVLRepGenre : public WResource {
public:
    WVLRepGenre() = default;
    WVLRepGenre(const WVLRepGenre&) = default;
    WVLRepGenre(WVLRepGenre&&) noexcept = default;
    WVLRepGenre& operator=(const WVLRepGenre&) = default;
    WVLRepGenre& operator=(WVLRepGenre&&) noexcept = default;
    ~WVLRepGenre() override;

    void setGenreRepID(std::string genreRepID) { m_genreRepID = std::move(genreRepID); }
    void setGenreRepName(std::string genreRepName) { m_genreRepName = std::move(genreRepName); }

    const std::string& getGenreRepID() const { return m_genreRepID; }
    const std::string& getGenreRepName() const { return m_genreRepName; }

private:
    std::string m_genreRepID;
    std::string m_genreRepName;
};

}  // namespace W
#pragma GCC visibility pop
