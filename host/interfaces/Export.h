// What libdvhost.so offers and what stays inside it.
//
// Everything is built with hidden symbols. DVHOST_API marks what a plug-in may
// link to, and the interfaces whose type information must be one and the same
// on both sides of the plug-in border (dynamic_cast, exceptions).
#ifndef HOST_INTERFACES_EXPORT_H
#define HOST_INTERFACES_EXPORT_H

#define DVHOST_API __attribute__((visibility("default")))

#endif
