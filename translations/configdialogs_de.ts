<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>ConfigDialog</name>
    <message>
        <source>This feature is not available for the connected camera.</source>
        <translation>Diese Funktion ist für die angeschlossene Kamera nicht verfügbar.</translation>
    </message>
</context>
<context>
    <name>Properties</name>
    <message>
        <source>&lt;Multiple Values&gt;</source>
        <translation>&lt;Mehrere Werte&gt;</translation>
    </message>
</context>
<context>
    <name>Statics</name>
    <message>
        <source>Deselection of this event will not deactivate the corresponding event.</source>
        <translation>Das Abwählen dieses Ereignisses deaktiviert das zugehörige Ereignis nicht.</translation>
    </message>
    <message>
        <source>Caution: Selecting this event it will activate the corresponding event on the camera(s)!</source>
        <translation>Achtung: Wenn Sie dieses Ereignis auswählen, wird das zugehörige Ereignis auf der Kamera bzw. den Kameras aktiviert!</translation>
    </message>
    <message>
        <source>Caution: Item not configurable. Please configure camera via browser!</source>
        <translation>Achtung: Eintrag nicht konfigurierbar. Bitte konfigurieren Sie die Kamera über den Browser!</translation>
    </message>
    <message>
        <source>&lt;Multiple Values&gt;</source>
        <translation>&lt;Mehrere Werte&gt;</translation>
    </message>
</context>
<context>
    <name>kqgui::IpPortTreeWidget</name>
    <message>
        <source>Ip</source>
        <translation>IP</translation>
    </message>
    <message>
        <source>Port</source>
        <translation>Port</translation>
    </message>
    <message>
        <source>Use as port in: &quot;Velcor-&gt;Options-&gt;Tools-&gt;Alarm settings-&gt;Alarm messages&quot;</source>
        <translation>Diesen Port verwenden in: &quot;Velcor-&gt;Optionen-&gt;Werkzeuge-&gt;Alarmeinstellungen-&gt;Alarmmeldungen&quot;</translation>
    </message>
    <message>
        <source>You did not enter a valid IPv4 address.</source>
        <translation>Sie haben keine gültige IPv4-Adresse eingegeben.</translation>
    </message>
    <message>
        <source>You did not enter a valid port number!</source>
        <translation>Sie haben keine gültige Portnummer eingegeben!</translation>
    </message>
    <message>
        <source>Master Port</source>
        <translation>Master-Port</translation>
    </message>
</context>
</TS>
