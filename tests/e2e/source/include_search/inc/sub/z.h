int z;
