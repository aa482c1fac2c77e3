// Placeholder, replaced by the host library.
