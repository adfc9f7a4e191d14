/* What lets a panel come to the front: on Wayland only a program that a person has just used can hand that
 * right on, by a token. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_ACTIVATION_TOKEN_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_ACTIVATION_TOKEN_H

#include <glib.h>

G_BEGIN_DECLS

/* A token for a program that is started by what the person does just now, to be freed; "": this display needs
 * none, or gives none. The display server is asked, as it is for any program that a file manager starts. Main
 * thread only. */
char* tsf_activation_token(void);

G_END_DECLS

#endif
