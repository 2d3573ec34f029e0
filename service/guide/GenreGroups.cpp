#include "GenreGroups.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace corvaned {
namespace {

struct KeywordRow {
    std::string_view begin;  // of a word, in lower case
    std::string_view group;
};

// If a category has several of these words, the upper row counts: a "news magazine" is news, a "crime film" is a film.
// The words are from real listings in English, French, German, Turkish and Spanish.
constexpr KeywordRow kKeywords[] = {
    {"kid", "6"},       {"child", "6"},     {"cartoon", "6"},     {"anim", "6"},        {"jeunesse", "6"},
    {"dessin", "6"},    {"kinder", "6"},    {"çocuk", "6"},       {"infantil", "6"},    {"pre-school", "6"},
    {"preschool", "6"}, {"news", "3"},      {"journal", "3"},     {"haber", "3"},       {"nachricht", "3"},
    {"weather", "3"},   {"météo", "3"},     {"information", "3"}, {"actualité", "3"},   {"current", "3"},
    {"noticia", "3"},   {"sport", "4"},     {"spor", "4"},        {"football", "4"},    {"soccer", "4"},
    {"tennis", "4"},    {"rugby", "4"},     {"golf", "4"},        {"multisport", "4"},  {"motor", "4"},
    {"deporte", "4"},   {"movie", "1"},     {"film", "1"},        {"téléfilm", "1"},    {"cinema", "1"},
    {"spielfilm", "1"}, {"music", "7"},     {"musique", "7"},     {"musik", "7"},       {"müzik", "7"},
    {"clip", "7"},      {"concert", "7"},   {"música", "7"},      {"documenta", "5"},   {"factual", "5"},
    {"belgesel", "5"},  {"doku", "5"},      {"science", "5"},     {"nature", "5"},      {"animalier", "5"},
    {"histor", "5"},    {"histoire", "5"},  {"découverte", "5"},  {"education", "5"},   {"eğitim", "5"},
    {"drama", "2"},     {"series", "2"},    {"série", "2"},       {"serie", "2"},       {"dizi", "2"},
    {"soap", "2"},      {"sitcom", "2"},    {"comed", "2"},       {"comédie", "2"},     {"feuilleton", "2"},
    {"crime", "2"},     {"drame", "2"},     {"krimi", "2"},       {"show", "8"},        {"entertain", "8"},
    {"game", "8"},      {"jeu", "8"},       {"reality", "8"},     {"téléréalité", "8"}, {"divertissement", "8"},
    {"variétés", "8"},  {"eğlence", "8"},   {"talk", "8"},        {"quiz", "8"},        {"lifestyle", "9"},
    {"leisure", "9"},   {"magazin", "9"},   {"cook", "9"},        {"food", "9"},        {"garden", "9"},
    {"art", "9"},       {"culture", "9"},   {"religio", "9"},     {"life style", "9"},  {"horror", "2"},
    {"thriller", "2"},  {"mystery", "2"},   {"fantas", "2"},      {"sci-fi", "2"},      {"romance", "2"},
    {"action", "2"},    {"adventure", "2"}, {"yaşam", "9"},       {"mode", "9"},        {"société", "9"},
};

}  // namespace

const std::vector<GenreGroup>& genreGroups()
{
    static const std::vector<GenreGroup> groups = {
        {"1", "Movies"},      {"2", "Series and drama"}, {"3", "News"},  {"4", "Sports"},
        {"5", "Documentary"}, {"6", "Children"},         {"7", "Music"}, {"8", "Entertainment"},
        {"9", "Lifestyle"},   {"10", "Other"},
    };
    return groups;
}

const GenreGroup& genreGroupOf(std::string_view category)
{
    // The blank at the start puts a blank before every word. Letters beyond ASCII are in lower case in the table, as
    // listings write them inside words.
    std::string words = " ";
    std::transform(category.begin(), category.end(), std::back_inserter(words), [](unsigned char c) {
        return static_cast<char>(c < 0x80 ? (std::isalnum(c) != 0 || c == '-' ? std::tolower(c) : ' ') : c);
    });
    const std::vector<GenreGroup>& groups = genreGroups();
    for (const KeywordRow& row : kKeywords) {
        if (words.find(std::string(" ").append(row.begin)) != std::string::npos) {
            return *std::find_if(groups.begin(), groups.end(),
                                 [&](const GenreGroup& group) { return group.id == row.group; });
        }
    }
    return groups.back();
}

}  // namespace corvaned
