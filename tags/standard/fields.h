// Which frame fills which field in the standard reading, and how.
#pragma once

#include "tags/standard/frames.h"
#include "tags/tag_model.h"

namespace tagsmith::standard {

/// Puts the frames of one tag into its fields. A field is filled by the first frame that has a
/// value for it, save that comments and lyrics without a description go before those with one,
/// and a recording time before a year.
class FieldFiller {
 public:
  explicit FieldFiller(ID3Tag& tag) : tag_(tag) {}

  void Take(const Frame& frame);

 private:
  struct Row;
  static const Row kRows[];

  template <TagText V2Values::*Field>
  bool TakeText(const Frame& frame);
  template <TagText V2Values::*Field, std::vector<TagText> V2Values::*List>
  bool TakeList(const Frame& frame);
  template <NarrowText V2Values::*Field>
  bool TakeNarrow(const Frame& frame);
  template <NarrowText V2Values::*Field>
  bool TakeUrl(const Frame& frame);
  template <std::uint16_t V2Values::*Number, std::uint16_t V2Values::*Count>
  bool TakeNumbers(const Frame& frame);
  template <TagText V2Values::*Field, bool FieldFiller::*IsPlain>
  bool TakeLanguageText(const Frame& frame);
  bool TakeGenre(const Frame& frame);
  bool TakeYear(const Frame& frame);
  bool TakeRecordingTime(const Frame& frame);
  bool TakeUserText(const Frame& frame);
  bool TakeUserUrl(const Frame& frame);
  bool TakeCompilation(const Frame& frame);
  bool TakePodcast(const Frame& frame);
  bool TakeAdvisory(const Frame& frame);
  bool TakeRating(const Frame& frame);
  bool TakeFileIdentifier(const Frame& frame);
  bool TakePicture(const Frame& frame);
  void KeepRaw(const Frame& frame);

  ID3Tag& tag_;
  bool commentIsPlain_ = false;  // it has no description
  bool lyricsArePlain_ = false;
  bool yearIsOfRecording_ = false;
};

/// Fills the fields that are still empty from the ID3v1 values.
void MergeV1(ID3Tag& tag);

}  // namespace tagsmith::standard
