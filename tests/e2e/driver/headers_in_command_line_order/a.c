source
