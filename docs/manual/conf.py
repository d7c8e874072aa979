"""Settings of the manual; tools/make_manual.py builds it."""

import re
from typing import Any

from docutils import nodes
from sphinx import addnodes
from sphinx.transforms import SphinxTransform

project = "vswitchpy"
copyright = "the vswitchpy developers"
html_theme = "furo"
html_title = "vswitchpy"
html_static_path = ["static"]
html_css_files = ["manual.css"]
html_copy_source = False
html_show_sphinx = False
# Scripts write the names of the module without it.
add_module_names = False
toc_object_entries = False
smartquotes = False
pygments_style = "tango"
pygments_dark_style = "monokai"
extensions = ["myst_parser", "sphinx.ext.autodoc", "sphinx.ext.graphviz"]
graphviz_output_format = "svg"
# Docstrings write names in single backticks.
default_role = "literal"
autodoc_typehints = "signature"
autodoc_preserve_defaults = True


class NamesInCode(SphinxTransform):
    """Names between backticks in Markdown, as `VSDVS_SetMTU(alias, mtu)`, lead to their entries, where there is one."""

    default_priority = 500
    NAME = re.compile(r"([A-Za-z_]\w*(?:\.\w+)?)(?:\(.*)?", re.S)

    def apply(self, **kwargs: Any) -> None:
        if not self.env.doc2path(self.env.docname).endswith(".md"):
            return
        for literal in list(self.document.findall(nodes.literal)):
            name = self.NAME.fullmatch(literal.astext())
            if name and not isinstance(literal.parent, (addnodes.pending_xref, nodes.title)):
                link = addnodes.pending_xref("", refdomain="py", reftype="obj", reftarget=f"libvswitch.{name[1]}",
                                             refdoc=self.env.docname, refexplicit=True, refwarn=False)
                literal.replace_self(link)
                link += literal


def setup(app: Any) -> None:
    app.add_transform(NamesInCode)
