#include "backends/secret/secret_service.h"

namespace backends::secret {

std::unique_ptr<platform::SecretStore> makeSecretService() { return nullptr; }

} // namespace backends::secret
