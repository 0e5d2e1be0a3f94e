// Which frame fills which field in the standard reading, and how.
#pragma once

#include "tags/standard/frames.h"
#include "tags/standard/text.h"
#include "tags/tag_model.h"

namespace tagsmith::standard {

/// Puts the frames of one tag into its fields. A field is filled by the first frame that has a
/// value for it, save that comments and lyrics without a description go before those with one,
/// and a recording time before a year. What is kept of texts and frames is as the tag's options
/// say.
class FieldFiller {
 public:
  /// What is kept of frames as it is stays in `memory`, which must hold the tag; without it, it is
  /// copied.
  FieldFiller(ID3Tag& tag, const SharedMemory& memory) : tag_(tag), memory_(memory) {}

  void Store(const Frame& frame);

 private:
  struct Row;
  static const Row kRows[];

  bool Fill(TagText& field, std::u16string_view text) const;
  bool FillAll(TagText& field, std::vector<TagText>& list, const Values& values) const;

  template <TagText V2Values::*Field>
  bool StoreText(const Frame& frame);
  template <TagText V2Values::*Field, std::vector<TagText> V2Values::*List>
  bool StoreList(const Frame& frame);
  template <NarrowText V2Values::*Field>
  bool StoreNarrow(const Frame& frame);
  template <NarrowText V2Values::*Field>
  bool StoreUrl(const Frame& frame);
  template <std::uint16_t V2Values::*Number, std::uint16_t V2Values::*Count>
  bool StoreNumbers(const Frame& frame);
  template <TagText V2Values::*Field, bool FieldFiller::*IsPlain>
  bool StoreLanguageText(const Frame& frame);
  bool StoreGenre(const Frame& frame);
  bool StoreDisc(const Frame& frame);
  bool StoreYear(const Frame& frame);
  bool StoreRecordingTime(const Frame& frame);
  bool StoreUserText(const Frame& frame);
  bool StoreUserUrl(const Frame& frame);
  bool StoreCompilation(const Frame& frame);
  bool StorePodcast(const Frame& frame);
  bool StoreAdvisory(const Frame& frame);
  bool StoreRating(const Frame& frame);
  bool StoreFileIdentifier(const Frame& frame);
  bool StorePicture(const Frame& frame);
  /// Null for a frame that stands somewhere else.
  [[nodiscard]] SharedMemory MemoryOf(const Frame& frame) const {
    return frame.isInTag ? memory_ : nullptr;
  }
  void KeepRaw(const Frame& frame);

  ID3Tag& tag_;
  const SharedMemory& memory_;
  bool commentIsPlain_ = false;  // it has no description
  bool lyricsArePlain_ = false;
};

/// Fills the fields that are still empty from the ID3v1 values.
void MergeV1(ID3Tag& tag);

}  // namespace tagsmith::standard
