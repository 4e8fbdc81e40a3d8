// Gives the precompiled test headers a translation unit to belong to.
