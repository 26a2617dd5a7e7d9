# What is installed, and how clients find it.
