// The login given to a server as it is opened: a user and a password that never stands in an argument.
#pragma once

#include <string>

#include "host/secret.h"

namespace host {

/// Where a login comes from; all empty: the plug-in takes the credentials store alone.
struct LoginSource {
  std::string user;
  std::string password_file;
  std::string password_command;  // run by /bin/sh; its standard output is the password
};

/// Reads the password and joins it to "user:password"; empty when no user is given. One line end after the password is
/// dropped. Throws UsageError when a source is missing or unreadable, the command fails, the password is empty, holds
/// a line end or a zero byte, the user holds a colon or a line end, or both together are over 1,023 bytes.
Secret read_login(const LoginSource& source);

}  // namespace host
