__version__ = "1.9.0"
