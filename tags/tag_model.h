// The in-memory form of everything that is read from a track: the ID3v2 and ID3v1 values, the
// pictures, the audio details and the display texts.
//
// A tag belongs to one object and is used by one thread at a time. It owns all that it holds.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tags/block_list.h"
#include "tags/display_texts.h"
#include "tags/id3v2_layout.h"
#include "tags/text_conversion.h"

namespace tagsmith {

/// Unknown track and disc numbers, and an unknown ID3v1 track or genre.
inline constexpr std::uint16_t kUnknownNumber = 65535;
inline constexpr std::uint8_t kUnknownV1Number = 255;

inline constexpr std::uint64_t kTicksPerSecond = 10'000'000;

/// A text that may carry Unicode.
struct TagText {
  std::string text;            // with its terminator, one zero unit; empty: the text is absent
  std::uint64_t length = 0;    // characters (UTF-16: units), without mark and terminator
  std::uint32_t encoding = 0;  // 0 narrow, 1 UTF-16LE that begins with FF FE

  [[nodiscard]] bool IsPresent() const { return !text.empty(); }
  /// Bytes that the text takes, terminator included.
  [[nodiscard]] std::uint64_t ByteSize() const { return text.size(); }
};

/// A text that is narrow in any case (ISO-8859-1 or ASCII).
using NarrowText = std::optional<std::string>;

/// An embedded picture.
struct TagPicture {
  ByteView data;
  SharedMemory memory;           // that the data stands in
  std::array<char, 5> format{};  // "jpeg", "png", "gif", "tiff" or "bmp"
  std::uint8_t kind = 0;         // always 0: the picture type of ID3v2 is not kept
};

/// A user-defined text (TXXX).
struct TagUserText {
  TagText description;
  TagText value;
};

/// User-defined texts, kept as they stand in the tag: a tag may hold millions.
class TagUserTexts {
 public:
  /// Decodes the data of one frame.
  using Decoder = TagUserText (*)(ByteView frame);

  /// The frame's data must outlive the list; one decoder serves all of a tag.
  void Add(ByteView frame, Decoder decoder) {
    frames_.PushBack(frame);
    decoder_ = decoder;
  }

  [[nodiscard]] const BlockList<ByteView>& Frames() const { return frames_; }
  /// The text of one of the frames.
  [[nodiscard]] TagUserText Decode(ByteView frame) const { return decoder_(frame); }

 private:
  BlockList<ByteView> frames_;
  Decoder decoder_ = nullptr;
};

/// A frame without a field, as it stands in the tag.
struct TagRawFrame {
  const std::byte* start = nullptr;
  std::uint32_t size = 0;
  FrameId id;

  /// The whole frame body.
  [[nodiscard]] ByteView Data() const { return {start, size}; }
};

/// What becomes of frames without a field.
enum class ExtraFramesMode : std::uint32_t {
  kIgnore = 0,     // user texts are ignored too
  kKeepKnown = 1,  // user texts, and frames whose ID is known in the tag's version
  kKeepAll = 2,
};

/// What is chosen before a track is opened.
struct TagOptions {
  ExtraFramesMode extraFramesMode = ExtraFramesMode::kKeepKnown;
  bool keepUnicode = true;  // by path; false narrows texts to Latin-1
  std::size_t mostPictures = std::numeric_limits<std::size_t>::max();  // that are kept
  bool ignoreSizeErrors = false;  // by path; a wrong AIFF size does not end the opening
  bool keepExtraFrames = true;    // user texts and raw frames; without them only the log tells
  std::size_t longestText = kWholeText;  // characters that are kept of a text
};

/// For hosts that show single fields: nothing that takes more memory than the fields do.
inline constexpr TagOptions kFieldOptions{
    .mostPictures = 0, .keepExtraFrames = false, .longestText = 1023};
/// For hosts that show a picture.
inline constexpr TagOptions kPictureOptions{
    .mostPictures = 1, .keepExtraFrames = false, .longestText = 1023};

enum class PicturePlace { kLast, kFirst };

/// The ID3v2 values, as cleared. Each comment names the frames of 2.3/2.4 and of 2.2.
struct V2Values {
  bool v2Present = false;

  TagText title;                              // TIT2, TT2
  TagText artist;                             // TPE1, TP1
  TagText album;                              // TALB, TAL
  std::array<char, 5> year{};                 // TYER, TYE
  TagText comment;                            // COMM, COM
  TagText composer;                           // TCOM, TCM
  TagText originalArtist;                     // TOPE, TOA
  TagText copyright;                          // TCOP, TCR
  NarrowText userUrl;                         // WXXX, WXX
  NarrowText artistUrl;                       // WOAR, WAR
  NarrowText encodedBy;                       // TENC, TEN
  TagText genre;                              // TCON, TCO
  NarrowText musicCdId;                       // MCDI, MCI
  TagText lyrics;                             // USLT, ULT
  TagText conductor;                          // TPE3, TP3
  TagText lyricist;                           // TEXT, TXT
  TagText publisher;                          // TPUB, TPB
  TagText albumArtist;                        // TPE2, TP2
  TagText contentGroup;                       // TIT1, TT1
  TagText subtitle;                           // TIT3, TT3
  TagText encoderSettings;                    // TSSE, TSS
  TagUserTexts userTexts;                     // TXXX, TXX
  NarrowText isrc;                            // TSRC, TRC
  NarrowText releaseTime;                     // TDRL, TDR
  NarrowText recordingTime;                   // TDRC
  NarrowText bpm;                             // TBPM, TBP
  NarrowText initialKey;                      // TKEY, TKE
  NarrowText ratingEmail;                     // POPM, POP
  std::uint8_t rating = 0;                    // POPM, POP; 0: none
  std::uint16_t track = kUnknownNumber;       // TRCK, TRK
  std::uint16_t trackCount = kUnknownNumber;  // TRCK, TRK
  std::uint16_t disc = kUnknownNumber;        // TPOS, TPA
  std::uint16_t discCount = kUnknownNumber;   // TPOS, TPA
  bool compilation = false;                   // TCMP, TCP
  bool podcast = false;                       // PCST, PCS
  TagText podcastId;                          // TGID, TID
  NarrowText podcastFeedUrl;                  // WFED, "WFD ", WFD
  TagText podcastDescription;                 // TDES, TDS
  std::uint32_t advisory = 0;                 // TRTG
  NarrowText producedNotice;                  // TPRO
  NarrowText mood;                            // TMOO
  NarrowText iswc;                            // TSWC
  NarrowText ufidOwner;                       // UFID, UFI
  std::array<std::byte, 64> ufidData{};
  std::uint32_t ufidSize = 0;
  BlockList<TagPicture> pictures;         // APIC, PIC
  BlockList<TagRawFrame> rawFrames;       // frames without a field, of 2.3 and 2.4 only
  std::vector<SharedMemory> frameMemory;  // that user texts and raw frames stand in

  // What the standard reading knows more of. Where a field holds several values, each of them: the
  // field itself then is all of them as one text.
  std::vector<TagText> artists;
  std::vector<TagText> composers;
  std::vector<TagText> conductors;
  std::vector<TagText> genres;
  NarrowText partOfSet;   // the disc as it is shown: "1", "1/2"
  bool v1Merged = false;  // ID3v1 values stand in fields that ID3v2 left empty

  /// Whether the fields above are the track's, not only those of ID3v1 below.
  [[nodiscard]] bool HasFields() const { return v2Present || v1Merged; }
};

class Tag : public TagOptions, public V2Values {
 public:
  Tag() = default;
  Tag(const Tag&) = delete;
  Tag& operator=(const Tag&) = delete;
  virtual ~Tag() = default;

  /// The sample rate in kilohertz and in hertz; 0 where it is not known.
  [[nodiscard]] virtual float GetSampleRateKHz() const = 0;
  [[nodiscard]] virtual float GetSampleRate() const = 0;

  /// Drops the ID3v2 values; options, file name and v2Loaded stay.
  void ClearV2();

  /// Null: none.
  void SetFileName(const char* name);

  /// Converts `source` (see ConvertText) into `field`; null: nothing happens and the result is 0.
  /// Returns (length + 1) times 2 when the source encoding is not 0, else times 1.
  static std::uint64_t SetText(ByteView source, std::uint32_t encoding, TextReduction mode,
                               TagText* field, std::size_t longest = kWholeText);

  /// Keeps at most 4 characters of `text` as the year.
  void SetYear(std::string_view text);

  /// Adds a picture; at most 4 letters of the format word are kept. Where there are as many as are
  /// kept, one that goes first takes the place of the last. The image bytes stay in `memory`, which
  /// then must not change any more; where it is null they are copied.
  void AddPicture(ByteView data, std::string_view format, std::uint8_t kind = 0,
                  PicturePlace place = PicturePlace::kLast, SharedMemory memory = nullptr);

  /// Makes the bytes of a frame outlive its reading, in `memory`, which then must not change any
  /// more; where it is null they are copied. Gives them as they are kept.
  ByteView KeepFrame(ByteView data, const SharedMemory& memory);

  /// The picture with this number, null when there is none; owned by the tag.
  [[nodiscard]] const TagPicture* GetPicture(std::size_t index) const;

  /// The rating as 0 to 5 stars; any rating but 0 gives at least one.
  [[nodiscard]] std::uint32_t GetRatingStars() const;

  bool v2Loaded = false;  // the ID3v2 step of the opening has run
  NarrowText fileName;    // UTF-8
};

/// What is known of the audio data. Next to two of the values stands a ready-made text.
struct TrackDetails {
  std::int32_t versionIndex = 0;   // 0 MPEG-2.5, 1 reserved, 2 MPEG-2, 3 MPEG-1, 5 AIFF
  std::uint8_t layerIndex = 0;     // 0 to 2 for layers 1 to 3, 3 unknown, 4 AIFF
  std::uint8_t protectionBit = 0;  // 1: no CRC
  std::uint8_t channelMode = 0;    // 0 stereo, 1 joint, 2 dual, 3 mono, 4 multi channel (AIFF)
  bool isMissing = false;          // nothing is known, and the track is shown for its tags alone
  bool isVbr = false;              // two bit rates were met
  bool isEstimated = false;        // not every frame was counted
  std::uint32_t bitRate = 0;       // kilobits per second
  std::array<char, kBitRateTextSize> bitRateText{};
  std::uint32_t sampleRateField = 0;  // MPEG: the header's index, 0 to 3; AIFF: hertz
  std::uint32_t audioOffset = 0;      // of the first frame header in the file
  std::uint64_t frameCount = 0;       // MPEG frames, counted or estimated; AIFF: sample frames
  std::uint8_t copyrightBit = 0;
  std::uint8_t originBit = 0;
  bool syncLost = false;  // the walk ended on something that is neither a frame nor an ID3v1 tag
  std::array<char, 256> encoderText{};
  std::uint64_t duration = 0;       // whole seconds
  std::uint64_t durationTicks = 0;  // 100 ns
  std::array<char, kDurationTextSize> durationText{"0 seconds"};
  std::uint16_t bitsPerSample = 0;
};

/// The ID3v1 values, as cleared.
struct V1Values {
  bool v1Present = false;
  std::array<char, 31> v1Title{};
  std::array<char, 31> v1Artist{};
  std::array<char, 31> v1Album{};
  std::array<char, 5> v1Year{};
  std::array<char, 31> v1Comment{};
  std::uint8_t v1Track = kUnknownV1Number;
  std::uint8_t v1Genre = kUnknownV1Number;  // 0 to 79; in the standard reading any
  const char* v1GenreName = "Other";        // owned by a table
};

class ID3Tag : public Tag, public V1Values {
 public:
  [[nodiscard]] float GetSampleRateKHz() const override;
  [[nodiscard]] float GetSampleRate() const override;

  /// Drops the ID3v1 values; v1Loaded stays.
  void ClearV1();

  /// Drops both tags' values, and the audio details when asked.
  void Clear(bool alsoAudio);

  /// Puts the audio details back to their beginning, and with them file size, tag version and their
  /// texts ("0 seconds", "0 bytes", none); the ID3 area size stays.
  void ResetDetails();

  /// Stores the duration in whole seconds, 0 when the divisor is 0, and its text.
  void SetDuration(std::uint64_t quantity, std::uint64_t divisor);
  /// Stores the duration in full, `quantity` / `divisor` seconds; the divisor must not be 0.
  void SetExactDuration(std::uint64_t quantity, std::uint64_t divisor);
  /// Stores where the audio begins, which is how much stands in front of it.
  void SetAudioOffset(std::uint64_t bytes);
  /// Stores the size and its text.
  void SetFileSize(std::uint64_t bytes);
  /// Stores the rate and its text, which shows the two VBR flags as they are now.
  void SetBitRate(std::uint32_t kilobitsPerSecond);
  /// Stores the ID3v2 major version and the text of the tags that are present.
  void SetTagVersion(std::int32_t version);

  // What the opening found.
  bool isMpeg = false;            // by the name's extension
  bool isAiff = false;            // by the name's extension
  bool isTdf = false;             // by the name's extension
  bool readOnly = true;           // until a write check says otherwise
  bool v1Loaded = false;          // an ID3v1 block was parsed
  std::int32_t v2Version = 0;     // major version, a signed byte widened
  std::uint64_t id3AreaSize = 0;  // bytes in front of the audio data
  std::uint64_t fileSize = 0;     // in bytes
  TrackDetails details;

  // Ready-made texts, with those of the details.
  std::array<char, kFileSizeTextSize> fileSizeText{"0 bytes"};
  std::array<char, kTagVersionTextSize> tagVersionText{};
};

}  // namespace tagsmith
