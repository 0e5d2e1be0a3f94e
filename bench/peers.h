// Other libraries, each asked for what it tells of a track at the cheapest, or with every frame
// looked at.
#pragma once

#include <span>
#include <string>

namespace tagsmith::bench {

struct Peer {
  const char* name;
  void (*open)(const std::string& path);
  bool readsAiff;
};

/// They read the tags and, but for libid3tag, the audio details.
std::span<const Peer> TagPeers();

/// They look at every frame of an MP3 file.
std::span<const Peer> ScanPeers();

/// To be called once before any of them.
void StartPeers();

}  // namespace tagsmith::bench
