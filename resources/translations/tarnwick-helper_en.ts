<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>RichNotificationWC</name>
    <message>
        <location filename="../RichNotificationWC.ui"/>
        <source>Open the help page</source>
        <translation>Open the help page</translation>
    </message>
    <message>
        <location filename="../RichNotificationWC.ui"/>
        <source>Help</source>
        <translation>Help</translation>
    </message>
</context>
<context>
    <name>RichNotificationWCLocalizable</name>
    <message>
        <location filename="../../src/notification/RichNotificationWCLocalizable.cpp"/>
        <source>CloseButtonTitle</source>
        <extracomment>Close button title</extracomment>
        <translation>Close</translation>
    </message>
    <message>
        <location filename="../../src/notification/RichNotificationWCLocalizable.cpp"/>
        <source>CompleteUninstallButtonTitle</source>
        <extracomment>Complete uninstall buttonTitle</extracomment>
        <translation>Complete Uninstall</translation>
    </message>
    <message>
        <location filename="../../src/notification/RichNotificationWCLocalizable.cpp"/>
        <source>Title</source>
        <extracomment>Title</extracomment>
        <translation>%1 - Complete Uninstallation</translation>
    </message>
    <message numerus="yes">
        <location filename="../../src/notification/RichNotificationWCLocalizable.cpp"/>
        <source>DescriptionOfAlert</source>
        <extracomment>description of the alert</extracomment>
        <translation>
            <numerusform>&lt;b&gt;%1&lt;/b&gt; and %3 other app were moved to the Trash, but their service files are still on this computer. Remove them together with the apps to free &lt;b&gt;{5, select, 0 {about } other {}}%4&lt;/b&gt;.</numerusform>
            <numerusform>{2, select, 1 {&lt;b&gt;%1&lt;/b&gt; was moved to the Trash, but its service files are still on this computer. Remove them together with the app} other {&lt;b&gt;%1&lt;/b&gt; and %3 other apps were moved to the Trash, but their service files are still on this computer. Remove them together with the apps}} to free &lt;b&gt;{5, select, 0 {about } other {}}%4&lt;/b&gt;.</numerusform>
        </translation>
    </message>
</context>
</TS>
