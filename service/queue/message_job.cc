// SPDX-License-Identifier: MIT
// As the source of a batch does it: only the id is read here. What else may be wrong with a job is found by
// the worker that runs it.
#include "message_job.h"

#include "jobs/error.h"
#include "jobs/job_runner.h"
#include "jobs/job_source.h"
#include "jobs/json_text.h"
#include "jobs/members.h"
#include "jobs/sha256.h"

#include <tovkit/json.h>

namespace queue {

namespace {

constexpr const char* kPlace = "message";
constexpr std::size_t kShownDigits = 16;

std::string NameOf(const Message& message, const std::string& digest) {
  for (const std::string* name : {&message.names.messageId, &message.names.correlationId}) {
    if (!name->empty() && jobs::IsUtf8(*name) && name->find('\0') == std::string::npos) return *name;
  }
  return "message " + digest.substr(0, kShownDigits);
}

void ReadId(const std::string& body, std::string& id) {
  const auto object = jobs::ParseJobLine(body, kPlace);
  const auto member = object->GetMember("id");
  // One that is no text is the worker's to refuse.
  if (!member || member->GetType() != tovkit::JsonString) return;
  const std::string place = std::string(kPlace) + ": id";
  std::string own = jobs::TextOf(*member, place);
  jobs::CheckId(own, place);
  id = std::move(own);
}

}  // namespace

MessageJob ReadMessage(const Message& message, std::uint64_t longest) {
  const bool tooLong = message.size > longest;
  MessageJob read;
  read.digest = jobs::Sha256(tooLong ? std::to_string(message.size) + message.names.messageId : message.body);
  read.id = NameOf(message, read.digest);
  try {
    if (tooLong) {
      throw jobs::Error(jobs::ErrorKind::kLimit, kPlace,
                        std::to_string(message.size) + " bytes, of which " + std::to_string(longest) +
                            " are taken at most");
    }
    // The reader of JSON would take it for the end.
    if (message.body.find('\0') != std::string::npos) {
      throw jobs::Error(jobs::ErrorKind::kInput, kPlace, "it holds a NUL, which no JSON does");
    }
    ReadId(message.body, read.id);
  } catch (const jobs::Error& error) {
    read.refused = jobs::FailedResult(error);
  }
  return read;
}

}  // namespace queue
