#pragma once

#include <string>
#include <string_view>

namespace xv {

// `text` as it may be shown and logged. In every URL of it "***" stands for the password of the
// user (RFC 3986, 3.2.1: what follows the first ":" ahead of "@") and for the values of query
// parameters that are secrets by their name, such as SRT's "passphrase" or "token"; so it does in
// an attribute "name=value" of such a name.
std::string MaskSecrets(std::string_view text);

// Whether the value of an attribute or query parameter of that name is not to be shown.
bool IsSecretName(std::string_view name);

}  // namespace xv
