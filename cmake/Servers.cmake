# The servers that this build talks to unless a configuration file says otherwise. What stands here
# is the backend of the computer itself: a stranger needs nobody's server. All can be set with
# -DNAME=VALUE, and each again at run time in murlo.conf (packaging/murlo.conf describes it).
set(MURLO_BACKEND "http://127.0.0.1:8757" CACHE STRING "base address of the backend")
# No digits in the scheme that is made of this: the opener of sessions without a desktop environment
# (xdg-utils 1.1.3) takes an address whose scheme has digits for the name of a file.
set(MURLO_CLIENT "desktop.apps.murlo.local" CACHE STRING "client identifier at the identity provider")
set(MURLO_CLIENT_SUFFIX ".apps.murlo.local" CACHE STRING "the provider's domain suffix of client identifiers")
set(MURLO_REDIRECT_PREFIX "local.murlo.apps." CACHE STRING "the same domain with its labels reversed, and a dot")
set(MURLO_AUTHORIZATION_HOST "" CACHE STRING "the provider's authorisation host; empty for the backend's own page")
set(MURLO_TOKEN_HOST "" CACHE STRING "the provider's token host; empty for the backend's own page")
set(MURLO_PROVIDER "" CACHE STRING "the provider's name as its users know it; empty for the computer's own page")
set(MURLO_MODELS "https://huggingface.co/ggerganov/whisper.cpp" CACHE STRING "repository of the speech models, whose files are below /resolve/main/")
