#include "GenreGroups.h"

#include <gtest/gtest.h>

namespace corvaned {
namespace {

TEST(GenreGroups, MapsCategoriesOfListingsToGroups)
{
    const struct {
        const char* category;
        const char* group;
    } rows[] = {
        {"Movie", "Movies"},
        {"Téléfilm", "Movies"},
        {"TV  FILM", "Movies"},
        {"Série policière", "Series and drama"},
        {"Dizi", "Series and drama"},
        {"American Sitcom", "Series and drama"},
        {"News Magazine", "News"},
        {"Météo", "News"},
        {"Haber", "News"},
        {"Sports", "Sports"},
        {"Spor", "Sports"},
        {"Football", "Sports"},
        {"Belgesel", "Documentary"},
        {"Arts, Culture", "Lifestyle"},
        {"Show, Game Show", "Entertainment"},
        {"Dessin animé", "Children"},
        {"Pre-school Children's programmes", "Children"},
        {"music", "Music"},
        {"Transport", "Other"},
        {"2", "Other"},
        {"", "Other"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(genreGroupOf(row.category).name, row.group) << row.category;
    }
}

}  // namespace
}  // namespace corvaned
