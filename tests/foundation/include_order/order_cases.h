// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

class MError;

// What each build of message_caller.cpp exports.
#define DECLARE_ORDER_CASE(name)                                            \
  namespace name {                                                          \
  /* What `error.GetMessage()` gives where this order of includes holds. */ \
  std::wstring TextOf(const MError& error);                                 \
  /* An error whose class, written in such a place, has its own message. */ \
  std::unique_ptr<MError> MakeErrorWithOwnText();                           \
  /* The call of GetMessage() on that class itself, not through MError. */  \
  std::wstring TextOfErrorWithOwnText();                                    \
  /* What the preprocessor makes of the word after both includes. */        \
  std::string ExpansionOfGetMessage();                                      \
  }

DECLARE_ORDER_CASE(NoWindowsAnsi)
DECLARE_ORDER_CASE(NoWindowsUnicode)
DECLARE_ORDER_CASE(WindowsBeforeAnsi)
DECLARE_ORDER_CASE(WindowsBeforeUnicode)
DECLARE_ORDER_CASE(WindowsAfterAnsi)
DECLARE_ORDER_CASE(WindowsAfterUnicode)
