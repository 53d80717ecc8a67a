#include "xdcamdecode/xdcamdec.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string_view>

#include "host/log.h"
#include "host/registry.h"
#include "host/util.h"

namespace {

std::string narrow(Any const& name) { return name.toString().asString(); }

void removeFile(Any& name) {
  if (name.valid()) ::unlink(narrow(name).c_str());
  name.invalidate();
}

bool isEmptyFile(Any const& name) {
  struct stat status{};
  return ::lstat(narrow(name).c_str(), &status) == 0 && status.st_size == 0;
}

}  // namespace

XdcamDec::XdcamDec(KyModule const* module) : MpegDecWrapper(module) {
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  ky_dbg()->log(kLogTrace, "[xdcamdec]Temporary file folder is %s", narrow(ky_registry()->tempDir()).c_str());
}

XdcamDec::~XdcamDec() {
  if (state_ == kStateOpened) XdcamDec::close();
  removeTakeList();
}

int XdcamDec::setParam(char const* key, Any const& value) {
  if (static_cast<bool>(ky_registry()->getDbgOption("log_setparam")))
    KyUtil::debugOutSetParam(this, key, value);
  if (state_ == kStateInitialised && std::string_view(key) == "filename") {
    fileName_ = value;
    return 0;
  }
  return MpegDecWrapper::setParam(key, value);
}

int XdcamDec::getParam(char const* key, Any& value) const {
  if (std::string_view(key) != "filename") return MpegDecWrapper::getParam(key, value);
  value = fileName_;
  return 0;
}

int XdcamDec::open() {
  // Before the next take list takes the place of the one in use.
  if (state_ == kStateOpened) close();
  removeTakeList();
  takeListCreated = false;

  Any const extension = KyUtil::getExt(fileName_, true);
  if (extension == Any("xml") || extension == Any("smi")) {
    if (!createTakeList()) return kResultError;
  } else {
    workingName = fileName_;
  }
  MpegDecWrapper::setParam("filename", workingName);
  return MpegDecWrapper::open();
}

int XdcamDec::close() {
  MpegDecWrapper::close();
  if (takeListCreated) removeFile(workingName);
  state_ = kStateInitialised;
  return 0;
}

bool XdcamDec::createTakeList() {
  workingName = reserveTakeList();
  std::string const list = narrow(workingName);
  ky_dbg()->log(kLogTrace, "[xdcamparser] creating temporary .mzl file: %s", list.c_str());

  if (!searchCard(list)) {
    reportInvalidDescription(parser_.error_text);
    rejectedList_ = workingName;
    if (isEmptyFile(rejectedList_)) removeFile(rejectedList_);
    workingName.invalidate();
    return false;
  }
  ky_dbg()->log(kLogTrace, "[xdcamparser] Created multiple take file '%s'", list.c_str());
  LogTakeList(workingName, false);
  takeListCreated = true;
  return true;
}

bool XdcamDec::searchCard(std::string const& list) {
  // A parser serves one call: it keeps what it found.
  parser_ = ForgivingCardParser{};
  parser_.verbose = 1;
  std::string const name = narrow(fileName_);
  Any const forgiving = getAttr("forgivingCards");
  if (!forgiving.isInt32() || forgiving.asInt32() == 0) return parser_.ProcessData(name, list, 1);

  if (!parser_.ProcessForgiving(name, list, 1)) return false;
  std::string forgiven;
  for (std::string const& what : parser_.forgiven()) forgiven += (forgiven.empty() ? "" : ", ") + what;
  if (!forgiven.empty())
    ky_log()->warning("XDCAM card of %s read with allowance for %s", name.c_str(), forgiven.c_str());
  return true;
}

void XdcamDec::reportInvalidDescription(std::string const& reason) {
  std::string const name = narrow(fileName_);
  Any text;
  if (reason.empty())
    text.sprintf("Invalid XDCAM xml file %s:", name.c_str());
  else
    text.sprintf("Invalid XDCAM xml file %s: %s", name.c_str(), reason.c_str());
  ky_log()->error("%s", narrow(text).c_str());
  setError(kResultError, "%s", narrow(text).c_str());
}

// Also what an open left behind that failed after its list was written.
void XdcamDec::removeTakeList() {
  removeFile(rejectedList_);
  if (takeListCreated) removeFile(workingName);
}
