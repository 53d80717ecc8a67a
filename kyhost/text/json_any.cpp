#include "kyhost/text/json_any.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace kyhost {
namespace {

// Keeps the order of a dictionary's keys.
using Json = nlohmann::ordered_json;

std::string hexOf(void const* data, int size) {
  auto const* const bytes = static_cast<unsigned char const*>(data);
  std::string out;
  out.reserve(static_cast<size_t>(size) * 2);
  for (int i = 0; i < size; ++i) fmt::format_to(std::back_inserter(out), "{:02x}", bytes[i]);
  return out;
}

Json number(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

char const* orderName(int order) {
  return order == 1 ? "top field first" : order == 2 ? "bottom field first" : "progressive";
}

std::string lineOf(KyFramerate const& rate) {
  std::string out = fmt::format("{:.6g} frames/s, {}", rate.rate(), orderName(rate.order()));
  if (rate.dropFrame()) out += ", drop frame";
  if (rate.pulldown() != 0) out += fmt::format(", pulldown {}", rate.pulldown());
  return out;
}

Json toJson(AnyDict const& value);

Json toJson(Any const& value) {
  switch (value.kind()) {
    case Any::kInt32:
      return value.asInt32();
    case Any::kInt64:
      return value.asInt64();
    case Any::kString:
    case Any::kWString:
      return value.asString();
    case Any::kDouble:
    case Any::kFloat:
      return number(value.asDouble());
    case Any::kVector: {
      Json out = Json::array();
      for (Any const& element : value.asVector()) out.push_back(toJson(element));
      return out;
    }
    case Any::kDict:
      return toJson(value.asDict());
    case Any::kGeneric:
      return value.genericSize() > 0 ? Json(hexOf(value.asGeneric(), value.genericSize())) : Json(nullptr);
    case Any::kFramerate: {
      KyFramerate const rate = value.asFramerate();
      return Json{{"rate", number(rate.rate())},
                  {"order", rate.order()},
                  {"dropFrame", rate.dropFrame()},
                  {"pulldown", rate.pulldown()}};
    }
    case Any::kPair: {
      Pair const pair = value.asPair();
      return Json::array({toJson(pair.first), toJson(pair.second)});
    }
    case Any::kInvalid:
      break;
  }
  return nullptr;
}

Json toJson(AnyDict const& value) {
  Json out = Json::object();
  for (int i = 0; i < value.size(); ++i) out[value.getEntry(i).key] = toJson(value.getEntry(i).value);
  return out;
}

// `indent` -1: on one line.
std::string dumped(Json const& document, int indent) {
  return document.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string jsonText(Any const& value) { return dumped(toJson(value), 2); }

std::string toLine(Any const& value) {
  switch (value.kind()) {
    case Any::kString:
    case Any::kWString:
      return value.asString();
    case Any::kDouble:
    case Any::kFloat:
      return fmt::format("{:.10g}", value.asDouble());
    case Any::kFramerate:
      return lineOf(value.asFramerate());
    case Any::kGeneric:
      return value.genericSize() > 0 ? hexOf(value.asGeneric(), value.genericSize()) : "address";
    case Any::kInvalid:
      return "-";
    default:
      return dumped(toJson(value), -1);
  }
}

}  // namespace kyhost
