// Carries the precompiled header that the test programs share.
