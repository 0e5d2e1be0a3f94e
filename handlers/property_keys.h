// The keys of properties and columns, with their canonical names.
#pragma once

#include <windows.h>

#include <propsys.h>

#include <string_view>

namespace tagsmith {

struct NamedKey {
  std::string_view name;
  PROPERTYKEY key;
};

inline bool IsSameKey(const PROPERTYKEY& left, const PROPERTYKEY& right) {
  return left.pid == right.pid && IsEqualGUID(left.fmtid, right.fmtid) != 0;
}

/// Format identifiers of the system's property sets.
namespace property_sets {
inline constexpr GUID kSummary = {
    0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
inline constexpr GUID kMusic = {
    0x56A3372E, 0xCE9C, 0x11D2, {0x9F, 0x0E, 0x00, 0x60, 0x97, 0xC6, 0x86, 0xF6}};
inline constexpr GUID kMedia = {
    0x64440492, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}};
inline constexpr GUID kAudio = {
    0x64440490, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}};
inline constexpr GUID kLink = {
    0x5CBF2787, 0x48CF, 0x4208, {0xB9, 0x0E, 0xEE, 0x5E, 0x5D, 0x42, 0x02, 0x94}};
inline constexpr GUID kCompilation = {
    0xC449D5CB, 0x9EA4, 0x4809, {0x82, 0xE8, 0xAF, 0x9D, 0x59, 0xDE, 0xD6, 0xD1}};
inline constexpr GUID kStorage = {
    0xB725F130, 0x47EF, 0x101A, {0xA5, 0xF1, 0x02, 0x60, 0x8C, 0x9E, 0xEB, 0xAC}};
// The two sets of our own; the property description file names them too.
inline constexpr GUID kOriginalArtist = {
    0xB7E4C2D9, 0x3A61, 0x4F08, {0x9C, 0x25, 0x7D, 0x1E, 0x8A, 0x46, 0xF0, 0xB3}};
inline constexpr GUID kPodcast = {
    0xE19A6F37, 0xC4B2, 0x4D85, {0xA6, 0xF0, 0x2B, 0x93, 0xD7, 0x1C, 0x5E, 0x48}};
}  // namespace property_sets

namespace property_keys {
// clang-format off
inline constexpr NamedKey kTitle          {"System.Title",                  {property_sets::kSummary, 2}};
inline constexpr NamedKey kComment        {"System.Comment",                {property_sets::kSummary, 6}};
inline constexpr NamedKey kSubTitle       {"System.Media.SubTitle",         {property_sets::kMusic, 38}};
inline constexpr NamedKey kArtist         {"System.Music.Artist",           {property_sets::kMusic, 2}};
inline constexpr NamedKey kAlbumTitle     {"System.Music.AlbumTitle",       {property_sets::kMusic, 4}};
inline constexpr NamedKey kYear           {"System.Media.Year",             {property_sets::kMusic, 5}};
inline constexpr NamedKey kTrackNumber    {"System.Music.TrackNumber",      {property_sets::kMusic, 7}};
inline constexpr NamedKey kGenre          {"System.Music.Genre",            {property_sets::kMusic, 11}};
inline constexpr NamedKey kAlbumArtist    {"System.Music.AlbumArtist",      {property_sets::kMusic, 13}};
inline constexpr NamedKey kContentGroup   {"System.Music.ContentGroupDescription", {property_sets::kMusic, 33}};
inline constexpr NamedKey kInitialKey     {"System.Music.InitialKey",       {property_sets::kMusic, 34}};
inline constexpr NamedKey kBeatsPerMinute {"System.Music.BeatsPerMinute",   {property_sets::kMusic, 35}};
inline constexpr NamedKey kConductor      {"System.Music.Conductor",        {property_sets::kMusic, 36}};
inline constexpr NamedKey kPartOfSet      {"System.Music.PartOfSet",        {property_sets::kMusic, 37}};
inline constexpr NamedKey kRating         {"System.Rating",                 {property_sets::kMedia, 9}};
inline constexpr NamedKey kCopyright      {"System.Copyright",              {property_sets::kMedia, 11}};
inline constexpr NamedKey kComposer       {"System.Music.Composer",         {property_sets::kMedia, 19}};
inline constexpr NamedKey kPublisher      {"System.Media.Publisher",        {property_sets::kMedia, 30}};
inline constexpr NamedKey kAuthorUrl      {"System.Media.AuthorUrl",        {property_sets::kMedia, 32}};
inline constexpr NamedKey kEncodedBy      {"System.Media.EncodedBy",        {property_sets::kMedia, 36}};
inline constexpr NamedKey kTargetUrl      {"System.Link.TargetUrl",         {property_sets::kLink, 2}};
inline constexpr NamedKey kIsCompilation  {"System.Music.IsCompilation",    {property_sets::kCompilation, 100}};
inline constexpr NamedKey kOriginalArtist {"Corvane.Tagsmith.OriginalArtist",       {property_sets::kOriginalArtist, 100}};
inline constexpr NamedKey kPodcast        {"Corvane.Tagsmith.Podcast",              {property_sets::kPodcast, 100}};
inline constexpr NamedKey kDuration       {"System.Media.Duration",         {property_sets::kAudio, 3}};
inline constexpr NamedKey kEncodingBitrate{"System.Audio.EncodingBitrate",  {property_sets::kAudio, 4}};
inline constexpr NamedKey kSearchContents {"System.Search.Contents",        {property_sets::kStorage, 19}};
// Of columns only; two are old numbers of the music set, without a name in the property system.
inline constexpr NamedKey kAuthor         {"System.Author",                 {property_sets::kSummary, 4}};
inline constexpr NamedKey kSampleRate     {"System.Audio.SampleRate",       {property_sets::kAudio, 5}};
inline constexpr NamedKey kSongTitle      {"",                              {property_sets::kMusic, 3}};
inline constexpr NamedKey kSongComment    {"",                              {property_sets::kMusic, 6}};
// clang-format on
}  // namespace property_keys

}  // namespace tagsmith
