// Empty: the target of this file makes the precompiled header that the test programs share.
