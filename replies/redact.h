// Replies without their secrets: tokens, passwords, and the names and numbers of accounts.
//
// A field is secret if the description of a column that is made of it has the kind "secret", or if it has the
// name of one that is. A column of a wire table is so by its name. Letters' case makes no difference.
#ifndef REPLIES_REDACT_H_
#define REPLIES_REDACT_H_

#include <string>
#include <string_view>

namespace replies {

// Whether fields or columns of that name hold secrets.
bool IsSecretName(std::string_view name);

// Every text in a secret field becomes "***", whatever its length, every number 0; what is not there stays
// so. The bytes are left alone if there is none, and if they are no reply: nothing can be shown of them then.
// False in that case if they might hold a secret all the same. Any number of threads may call. Throws
// std::bad_alloc.
bool Redact(std::string* bytes);

}  // namespace replies

#endif  // REPLIES_REDACT_H_
