// SPDX-License-Identifier: MIT
#include "orvel/logging/flow_trace.h"

#include "orvel/logging/flow_log.h"
#include "orvel/logging/label_id.h"

MFlowPoint::MFlowPoint(const wchar_t* className, const wchar_t* functionName) noexcept
    : className_(className != nullptr ? className : L""),
      functionName_(functionName != nullptr ? functionName : L""),
      classId_(FlowLabelId(className_)),
      functionId_(FlowLabelId(functionName_)) {
  MKLoggerAdapter& logger = flowLogger();
  logger.nameLabel(classId_, className_);
  logger.nameLabel(functionId_, functionName_);
}

void MFlowPoint::Record(MFlowEvent kind, const void* object, std::int32_t arg1,
                        std::int32_t arg2) const noexcept {
  flowLogger().logEvent(static_cast<std::int32_t>(kind), arg1, arg2, classId_, functionId_,
                        FlowObject(object));
}

void MFlowPoint::RecordNamed(MFlowEvent kind, const void* object, const wchar_t* name,
                             std::int32_t arg2) const noexcept {
  const wchar_t* const text = name != nullptr ? name : L"";
  const std::int32_t label = FlowLabelId(text);
  flowLogger().nameLabel(label, text);
  Record(kind, object, label, arg2);
}

void MFlowPoint::NameState(std::int32_t state, const wchar_t* name) const noexcept {
  flowLogger().nameState(classId_, state, name);
}

void NameFlowObject(const void* object, const wchar_t* name) noexcept {
  flowLogger().nameObject(FlowObject(object), name);
}
