// The person's mail program through the desktop: the portal's e-mail interface (org.freedesktop.portal.Email,
// version 3 for several recipients), else xdg-email(1) of xdg-utils.
#pragma once

#include "service/MailComposer.h"

namespace apps::tsyncquenz {

class MailProgram final : public service::MailComposer {
  public:
    service::Outcome<service::Done> compose(const service::Mail& mail) override;
};

} // namespace apps::tsyncquenz
