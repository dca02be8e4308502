<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>MessagePane</name>
    <message numerus="yes">
        <source>%n remote images not loaded.</source>
        <translation>
            <numerusform>%n remote image not loaded.</numerusform>
            <numerusform>%n remote images not loaded.</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>StoreDateSheet</name>
    <message numerus="yes">
        <source>%n chosen files or folders:</source>
        <translation>
            <numerusform>%n chosen file or folder:</numerusform>
            <numerusform>%n chosen files or folders:</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>WindowProgram</name>
    <message numerus="yes">
        <source>%n files and folders</source>
        <translation>
            <numerusform>%n file or folder</numerusform>
            <numerusform>%n files and folders</numerusform>
        </translation>
    </message>
</context>
</TS>
