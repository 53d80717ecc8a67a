// The decode pipe of camera cards: a clip description opens as the whole take it belongs to.
#pragma once

#include <string>

#include "host/any.h"
#include "mpegdecode/mpegdecwrapper.h"
#include "parser_xdcam_ex/source/forgivingparser.h"

// Given the SMI or XML description of a clip, writes a temporary take list that names the essence files of
// the take in playing order, and opens that; every other file (a take list among them) is opened as it is.
// The list exists from open to close. One thread at a time; progress of the card search goes to standard
// output.
//
// Module attribute "forgivingCards" (int, absent counts as 0): other than 0, a card whose texts the card
// search cannot follow is read once more by their elements; what was forgiven is one warning in the user log.
class XdcamDec : public MpegDecWrapper {
 public:
  explicit XdcamDec(KyModule const* module);
  ~XdcamDec() override;

  // "filename" set while closed is kept for the next open; all else is the wrapper's.
  int setParam(char const* key, Any const& value) override;
  // "filename" is what was set, also when a take list is open in its place.
  int getParam(char const* key, Any& value) const override;
  // -1 for a description that is not that of a clip on a card; the reason goes to the user log.
  int open() override;
  int close() override;

 private:
  // Builds the take list of the description named by the file name; true when it can be opened.
  bool createTakeList();
  // Writes the list; false with the parser's error text.
  bool searchCard(std::string const& list);
  void reportInvalidDescription(std::string const& reason);
  void removeTakeList();

  // Take lists (takelist.cpp).
  // "<temporary folder>/<base name>_<random>_<seconds>.mzl", at most 511 characters.
  Any MakeTakeListName(Any const& clipName) const;
  // A take list name that this call alone holds: the empty file of that name is its owner's only.
  Any reserveTakeList() const;
  // Echoes a take list into the debug log, read as narrow or as wide characters.
  void LogTakeList(Any const& name, bool wide) const;

  ForgivingCardParser parser_;
  bool takeListCreated = false;
  Any fileName_;
  Any workingName;    // what is really open: the take list or the file itself
  Any rejectedList_;  // what a failed search left behind
};
