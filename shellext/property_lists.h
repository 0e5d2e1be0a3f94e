// Which properties the shell shows of AIFF files, as registration writes it.
#pragma once

namespace tagsmith {

inline constexpr const wchar_t* kShortList =
    L"prop:System.ItemType;System.Size;System.Music.Artist;System.Media.Duration;"
    L"System.OfflineAvailability";

/// The properties that the shell shows of a file, by place.
struct PropertyList {
  const wchar_t* name;
  const wchar_t* backup;
  const wchar_t* text;
};
inline constexpr PropertyList kPropertyLists[] = {
    {L"InfoTip", L"InfoTiptsmithbak", kShortList},
    {L"ExtendedTileInfo", L"ExtendedTileInfotsmithbak", kShortList},
    {L"FullDetails", L"FullDetailstsmithbak",
     L"prop:System.PropGroup.Description;System.Title;System.Media.SubTitle;System.Rating;"
     L"System.Comment;System.PropGroup.Media;System.Music.Artist;System.Music.AlbumArtist;"
     L"System.Music.AlbumTitle;System.Media.Year;System.Music.TrackNumber;System.Music.Genre;"
     L"System.Media.Duration;System.PropGroup.Audio;System.Audio.EncodingBitrate;"
     L"System.PropGroup.Origin;System.Media.Publisher;System.Media.EncodedBy;"
     L"System.Media.AuthorUrl;System.Copyright;System.PropGroup.Content;"
     L"System.ParentalRatingReason;System.Music.Composer;System.Music.Conductor;"
     L"System.Music.ContentGroupDescription;System.Music.Mood;System.Music.PartOfSet;"
     L"System.Music.InitialKey;System.Music.BeatsPerMinute;System.DRM.IsProtected;"
     L"System.Music.IsCompilation;System.PropGroup.FileSystem;System.ItemNameDisplay;"
     L"System.ItemType;System.ItemFolderPathDisplay;System.DateCreated;System.DateModified;"
     L"System.Size;System.FileAttributes;System.OfflineAvailability;System.OfflineStatus;"
     L"System.SharedWith;System.FileOwner;System.ComputerName"},
    {L"PreviewDetails", L"PreviewDetailstsmithbak",
     L"prop:System.Music.Artist;System.Music.AlbumTitle;System.Music.Genre;*System.Media.Duration;"
     L"System.Rating;System.Media.Year;*System.Size;System.Music.TrackNumber;"
     L"System.Music.AlbumArtist;System.Title;*System.Audio.EncodingBitrate;*System.DateModified;"
     L"*System.OfflineAvailability;*System.OfflineStatus;*System.DateCreated;*System.SharedWith"},
};

}  // namespace tagsmith
