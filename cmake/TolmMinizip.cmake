# Placeholder target until the archive storey declares the real one.
