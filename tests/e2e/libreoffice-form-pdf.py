#!/usr/bin/python3
"""A PDF form as LibreOffice Writer exports one: a filled-in text field, a check box, two radio
buttons and a drop-down list, written with /NeedAppearances true. Driven through LibreOffice's own
UNO interface (python3-uno), with a profile of its own.

  libreoffice-form-pdf.py OUT.pdf
"""
import os
import subprocess
import sys
import tempfile
import time

import uno
from com.sun.star.awt import Size, Point
from com.sun.star.beans import PropertyValue


def prop(name, value):
    p = PropertyValue()
    p.Name, p.Value = name, value
    return p


def main(out):
    profile = tempfile.mkdtemp()
    pipe = "vesk%d" % os.getpid()
    office = subprocess.Popen(["soffice", "--headless", "--invisible", "--norestore",
                               "-env:UserInstallation=file://" + profile,
                               "--accept=pipe,name=%s;urp;" % pipe],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        local = uno.getComponentContext()
        resolver = local.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", local)
        for _ in range(120):
            try:
                context = resolver.resolve("uno:pipe,name=%s;urp;StarOffice.ComponentContext" % pipe)
                break
            except Exception:
                time.sleep(0.25)
        else:
            raise SystemExit("LibreOffice did not answer")
        desktop = context.ServiceManager.createInstanceWithContext("com.sun.star.frame.Desktop", context)
        document = desktop.loadComponentFromURL("private:factory/swriter", "_blank", 0, (prop("Hidden", True),))
        text = document.Text
        text.insertString(text.End, "Application form", False)
        forms = document.DrawPage.Forms
        form = document.createInstance("com.sun.star.form.component.Form")
        form.Name = "Application"
        forms.insertByIndex(0, form)

        def control(kind, name, y, width=6000, height=800, **model_values):
            model = document.createInstance("com.sun.star.form.component." + kind)
            model.Name = name
            for key, value in model_values.items():
                setattr(model, key, value)
            shape = document.createInstance("com.sun.star.drawing.ControlShape")
            shape.Size = Size(width, height)
            shape.Position = Point(2000, y)
            shape.Control = model
            shape.AnchorType = uno.Enum("com.sun.star.text.TextContentAnchorType", "AT_PAGE")
            document.DrawPage.add(shape)
            return model

        control("TextField", "FullName", 3000, Text="Ivanov Ivan")
        control("CheckBox", "Agree", 4500, Label="I agree", State=1)
        control("RadioButton", "Delivery", 6000, Label="Post", State=0, RefValue="post")
        control("RadioButton", "Delivery", 7000, Label="Courier", State=1, RefValue="courier")
        control("ListBox", "City", 8500, Dropdown=True, StringItemList=("Moscow", "Kazan"), SelectedItems=(1,))
        document.storeToURL(uno.systemPathToFileUrl(os.path.abspath(out)),
                            (prop("FilterName", "writer_pdf_Export"),))
        document.close(True)
    finally:
        try:
            desktop.terminate()
        except Exception:
            pass
        try:
            office.wait(timeout=30)
        except subprocess.TimeoutExpired:
            office.kill()


if __name__ == "__main__":
    main(sys.argv[1])
