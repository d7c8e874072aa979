"""Settings of the manual; tools/make_manual.py builds it."""

project = "vswitchpy"
copyright = "the vswitchpy developers"
html_theme = "alabaster"
html_theme_options = {"page_width": "1100px", "sidebar_width": "240px"}
html_copy_source = False
html_show_sphinx = False
# Scripts write the names of the module without it.
add_module_names = False
toc_object_entries = False
smartquotes = False
pygments_style = "sphinx"
extensions = ["sphinx.ext.autodoc"]
# Docstrings write names in single backticks.
default_role = "literal"
autodoc_typehints = "signature"
autodoc_preserve_defaults = True
