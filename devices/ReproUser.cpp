#include "devices/ReproUser.h"

namespace {

// Not a field of the agent: a restarted agent goes on counting, so that no id is used twice.
unsigned long nextUserId = ReproUser::BASE_REPRO_USER_ID;

}  // namespace

ReproUser::ReproUser(const ICmdMessage& message) : id_(nextUserId++) {
    key = message.GetString("key");
    user = message.GetString("user");
    domain = message.GetString("domain");
    realm = message.GetString("realm");
    password = message.GetString("password");
    name = message.GetString("name");
    email = message.GetString("email");
    forwardAddress = message.GetString("forwardAddress");
}
