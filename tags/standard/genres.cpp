#include "tags/standard/genres.h"

#include <algorithm>
#include <optional>

#include "tags/genre_table.h"
#include "tags/unicode.h"

namespace tagsmith::standard {
namespace {

/// Where today's spelling is another than that of the first lists.
struct Respelt {
  std::size_t index;
  const char* name;
};
constexpr Respelt kRespelt[] = {
    {40, "Alt. Rock"},   {59, "Gangsta Rap"}, {67, "Psychedelic"},
    {84, "Fast-Fusion"}, {100, "Humour"},     {123, "A Cappella"},
};

/// The names that follow those of the table that all readings share.
constexpr const char* kFurtherNames[] = {
    "Goa",
    "Drum & Bass",
    "Club-House",
    "Hardcore",
    "Terror",
    "Indie",
    "BritPop",
    "Afro-Punk",
    "Polsk Punk",
    "Beat",
    "Christian Gangsta Rap",
    "Heavy Metal",
    "Black Metal",
    "Crossover",
    "Contemporary Christian",
    "Christian Rock",
    "Merengue",
    "Salsa",
    "Thrash Metal",
    "Anime",
    "JPop",
    "Synthpop",
    "Abstract",
    "Art Rock",
    "Baroque",
    "Bhangra",
    "Big Beat",
    "Breakbeat",
    "Chillout",
    "Downtempo",
    "Dub",
    "EBM",
    "Eclectic",
    "Electro",
    "Electroclash",
    "Emo",
    "Experimental",
    "Garage",
    "Global",
    "IDM",
    "Illbient",
    "Industro-Goth",
    "Jam Band",
    "Krautrock",
    "Leftfield",
    "Lounge",
    "Math Rock",
    "New Romantic",
    "Nu-Breakz",
    "Post-Punk",
    "Post-Rock",
    "Psytrance",
    "Shoegaze",
    "Space Rock",
    "Trop Rock",
    "World Music",
    "Neoclassical",
    "Audiobook",
    "Audio Theatre",
    "Neue Deutsche Welle",
    "Podcast",
    "Indie Rock",
    "G-Funk",
    "Dubstep",
    "Garage Rock",
    "Psybient",
};

/// The number that all of `text` is; nothing when it is no number.
std::optional<std::size_t> WholeNumber(std::u16string_view text) {
  constexpr std::size_t kMostDigits = 3;
  const bool isNumber =
      !text.empty() && text.size() <= kMostDigits &&
      std::all_of(text.begin(), text.end(), [](char16_t c) { return c >= u'0' && c <= u'9'; });
  if (!isNumber) {
    return std::nullopt;
  }
  std::size_t number = 0;
  for (const char16_t digit : text) {
    number = 10 * number + (digit - u'0');
  }
  return number;
}

/// What `text` refers to, empty where the number has no name; nothing when it is no reference.
std::optional<std::u16string> Resolve(std::u16string_view text) {
  if (text == u"RX") {
    return u"Remix";
  }
  if (text == u"CR") {
    return u"Cover";
  }
  const std::optional<std::size_t> number = WholeNumber(text);
  return number ? std::optional(WidenLatin1(GenreName(*number))) : std::nullopt;
}

}  // namespace

const char* GenreName(std::size_t index) {
  const auto* respelt = std::find_if(std::begin(kRespelt), std::end(kRespelt),
                                     [&](const Respelt& name) { return name.index == index; });
  if (respelt != std::end(kRespelt)) {
    return respelt->name;
  }
  if (index < kGenreCount) {
    return GetReferencedGenreName(index);
  }
  index -= kGenreCount;
  return index < std::size(kFurtherNames) ? kFurtherNames[index] : "";
}

void AddGenres(std::u16string_view value, Values& genres) {
  const auto add = [&](std::u16string genre) {
    if (!genre.empty() && genres.size() < kMostGenres &&
        std::find(genres.begin(), genres.end(), genre) == genres.end()) {
      genres.push_back(std::move(genre));
    }
  };
  value = Trim(value);
  if (const auto genre = Resolve(value)) {
    add(*genre);
    return;
  }
  while (value.starts_with(u'(')) {
    const std::size_t closing = value.find(u')');
    const auto genre =
        closing == std::u16string_view::npos ? std::nullopt : Resolve(value.substr(1, closing - 1));
    if (!genre) {
      break;
    }
    add(*genre);
    value.remove_prefix(closing + 1);
  }
  if (value.starts_with(u"((")) {
    value.remove_prefix(1);
  }
  add(std::u16string(Trim(value)));
}

}  // namespace tagsmith::standard
