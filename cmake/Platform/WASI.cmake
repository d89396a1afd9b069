# For CMake, which does not know of this system: it has nothing that CMake would have to be told.
