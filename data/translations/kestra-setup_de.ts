<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>Setup</name>
    <message>
        <source>Set a connection up.</source>
        <translation>Eine Verbindung einrichten.</translation>
    </message>
    <message>
        <source>List the supported modems that are plugged in.</source>
        <translation>Die unterstützten Modems auflisten, die eingesteckt sind.</translation>
    </message>
    <message>
        <source>Tell what is set up, and whether the link is up.</source>
        <translation>Zeigen, was eingerichtet ist und ob die Verbindung steht.</translation>
    </message>
    <message>
        <source>List the known drivers and where they come from.</source>
        <translation>Die bekannten Treiber auflisten und woher sie kommen.</translation>
    </message>
    <message>
        <source>List the countries, or the services of one; or check a database.</source>
        <translation>Die Länder auflisten oder die Tarife eines Landes; oder eine Datenbank prüfen.</translation>
    </message>
    <message>
        <source>Build the driver of a modem and install it.</source>
        <translation>Den Treiber eines Modems übersetzen und installieren.</translation>
    </message>
    <message>
        <source>Bring the driver back that was there before.</source>
        <translation>Den Treiber zurückbringen, der vorher da war.</translation>
    </message>
    <message>
        <source>Put the firmware of a modem where the kernel looks for it.</source>
        <translation>Die Firmware eines Modems dort ablegen, wo der Kernel sie sucht.</translation>
    </message>
    <message>
        <source>Tell which firmware of a modem is there, and where the other comes from.</source>
        <translation>Zeigen, welche Firmware eines Modems da ist und woher die übrige kommt.</translation>
    </message>
    <message>
        <source>Install the packages that are needed.</source>
        <translation>Die benötigten Pakete installieren.</translation>
    </message>
    <message>
        <source>Tell which packages are needed, and which can be had.</source>
        <translation>Zeigen, welche Pakete benötigt werden und welche zu haben sind.</translation>
    </message>
    <message>
        <source>List the discs that are in the drives.</source>
        <translation>Die Medien auflisten, die in den Laufwerken liegen.</translation>
    </message>
    <message>
        <source>Make a disc a source of packages; DISC is its device or its UDI.</source>
        <translation>Ein Medium zur Paketquelle machen; DISC ist sein Gerät oder seine UDI.</translation>
    </message>
    <message>
        <source>Unmount a disc and eject it.</source>
        <translation>Ein Medium aushängen und auswerfen.</translation>
    </message>
    <message>
        <source>Write the connection to a provider.</source>
        <translation>Die Verbindung zu einem Anbieter schreiben.</translation>
    </message>
    <message>
        <source>Start the connection at boot.</source>
        <translation>Die Verbindung beim Systemstart aufbauen.</translation>
    </message>
    <message>
        <source>Do not start the connection at boot any more.</source>
        <translation>Die Verbindung beim Systemstart nicht mehr aufbauen.</translation>
    </message>
    <message>
        <source>Set the name servers.</source>
        <translation>Die Nameserver festlegen.</translation>
    </message>
    <message>
        <source>Tell which name servers are set, and whether they answer.</source>
        <translation>Zeigen, welche Nameserver festgelegt sind und ob sie antworten.</translation>
    </message>
    <message>
        <source>Bring the earlier name servers back.</source>
        <translation>Die früheren Nameserver zurückbringen.</translation>
    </message>
    <message>
        <source>Pack logs, versions and states to send to a helper.</source>
        <translation>Protokolle, Versionen und Zustände für jemanden packen, der hilft.</translation>
    </message>
    <message>
        <source>Make everything as it was before the first set-up.</source>
        <translation>Alles so machen, wie es vor der ersten Einrichtung war.</translation>
    </message>
    <message>
        <source>kestra-setup: The answer could not be written to standard output.
</source>
        <translation>kestra-setup: Die Antwort ließ sich nicht auf die Standardausgabe schreiben.
</translation>
    </message>
    <message>
        <source>%1 (%2:%3), driver %4</source>
        <translation>%1 (%2:%3), Treiber %4</translation>
    </message>
    <message>
        <source>No supported modem is plugged in.</source>
        <translation>Es ist kein unterstütztes Modem eingesteckt.</translation>
    </message>
    <message>
        <source>kestra-setup drivers lists the modems that are supported.</source>
        <translation>kestra-setup drivers listet die unterstützten Modems auf.</translation>
    </message>
    <message>
        <source>not mounted</source>
        <translation>nicht eingehängt</translation>
    </message>
    <message>
        <source>mounted at %1</source>
        <translation>eingehängt unter %1</translation>
    </message>
    <message>
        <source>content unknown</source>
        <translation>Inhalt unbekannt</translation>
    </message>
    <message>
        <source>holds packages</source>
        <translation>enthält Pakete</translation>
    </message>
    <message>
        <source>holds no packages</source>
        <translation>enthält keine Pakete</translation>
    </message>
    <message>
        <source>no label</source>
        <translation>ohne Namen</translation>
    </message>
    <message>
        <source>There is no disc in a drive.</source>
        <translation>In keinem Laufwerk liegt ein Medium.</translation>
    </message>
    <message>
        <source>Insert one, then start again.</source>
        <translation>Eines einlegen, dann neu starten.</translation>
    </message>
    <message>
        <source>There is no disc in %1.</source>
        <translation>In %1 liegt kein Medium.</translation>
    </message>
    <message>
        <source>There is one in %1.</source>
        <translation>Es liegt eines in %1.</translation>
    </message>
    <message>
        <source>There is more than one disc: in %1.</source>
        <translation>Es gibt mehr als ein Medium: in %1.</translation>
    </message>
    <message>
        <source>Name the device of the one that is meant.</source>
        <translation>Das Gerät des gemeinten Mediums nennen.</translation>
    </message>
    <message>
        <source>A source of packages now: %1</source>
        <translation>Jetzt eine Paketquelle: %1</translation>
    </message>
    <message>
        <source>Ejected: %1</source>
        <translation>Ausgeworfen: %1</translation>
    </message>
    <message>
        <source>modems</source>
        <translation>Modems</translation>
    </message>
    <message>
        <source>bundle</source>
        <translation>Paket</translation>
    </message>
    <message>
        <source>source</source>
        <translation>Quelle</translation>
    </message>
    <message>
        <source>module</source>
        <translation>Modul</translation>
    </message>
    <message>
        <source>firmware</source>
        <translation>Firmware</translation>
    </message>
    <message>
        <source>%1, version %2</source>
        <translation>%1, Version %2</translation>
    </message>
    <message>
        <source>Install kestra-setup completely, or give --data-dir.</source>
        <translation>kestra-setup vollständig installieren oder --data-dir angeben.</translation>
    </message>
    <message>
        <source>%1: not found</source>
        <translation>%1: nicht gefunden</translation>
    </message>
    <message>
        <source>%1: there already</source>
        <translation>%1: schon da</translation>
    </message>
    <message>
        <source>%1: installed from %2</source>
        <translation>%1: installiert aus %2</translation>
    </message>
    <message>
        <source>%1: replaced by %2</source>
        <translation>%1: ersetzt durch %2</translation>
    </message>
    <message>
        <source>%1: not installed. %2</source>
        <translation>%1: nicht installiert. %2</translation>
    </message>
    <message>
        <source>Plug it in, or name its driver with --driver; kestra-setup drivers lists them.</source>
        <translation>Es einstecken oder seinen Treiber mit --driver nennen; kestra-setup drivers listet die Treiber auf.</translation>
    </message>
    <message>
        <source>The driver catalogue has no driver &quot;%1&quot;.</source>
        <translation>Der Treiberkatalog hat keinen Treiber „%1“.</translation>
    </message>
    <message>
        <source>kestra-setup drivers lists those that it has.</source>
        <translation>kestra-setup drivers listet die Treiber auf, die er hat.</translation>
    </message>
    <message>
        <source>%1: kestra-setup knows of no firmware that this driver loads.</source>
        <translation>%1: kestra-setup weiß von keiner Firmware, die dieser Treiber lädt.</translation>
    </message>
    <message>
        <source>%1, in %2:</source>
        <translation>%1, in %2:</translation>
    </message>
    <message>
        <source>Give the directory or the disc that has the firmware, one of its files or an archive of them.</source>
        <translation>Das Verzeichnis oder das Medium mit der Firmware angeben, eine ihrer Dateien oder ein Archiv davon.</translation>
    </message>
    <message>
        <source>Not taken: %1 %2.</source>
        <translation>Nicht übernommen: %1 %2.</translation>
    </message>
    <message>
        <source>Not all of the firmware could be installed.</source>
        <translation>Nicht die ganze Firmware ließ sich installieren.</translation>
    </message>
    <message>
        <source>See above why, then start again.</source>
        <translation>Oben steht, warum; dann neu starten.</translation>
    </message>
    <message>
        <source>There is no firmware of the modem in %1.</source>
        <translation>In %1 ist keine Firmware des Modems.</translation>
    </message>
    <message>
        <source>See above which files are needed, and where they come from.</source>
        <translation>Oben steht, welche Dateien benötigt werden und woher sie kommen.</translation>
    </message>
    <message>
        <source>This program must run as root.</source>
        <translation>Dieses Programm muss als root laufen.</translation>
    </message>
    <message>
        <source>Start it with sudo, or from a root shell.</source>
        <translation>Es mit sudo starten oder aus einer root-Shell.</translation>
    </message>
    <message>
        <source>A modem that is plugged in takes it when it is plugged in anew.</source>
        <translation>Ein eingestecktes Modem übernimmt sie, wenn es neu eingesteckt wird.</translation>
    </message>
    <message>
        <source>Waiting for %1</source>
        <translation>Warten auf %1</translation>
    </message>
    <message>
        <source>What was changed could not be noted in %1.</source>
        <translation>Die Änderungen ließen sich nicht in %1 vermerken.</translation>
    </message>
    <message>
        <source>%1 answers.</source>
        <translation>%1 antwortet.</translation>
    </message>
    <message>
        <source>%1 does not answer.</source>
        <translation>%1 antwortet nicht.</translation>
    </message>
    <message>
        <source>%1 is a link to %2.</source>
        <translation>%1 ist ein Verweis auf %2.</translation>
    </message>
    <message>
        <source>It is the file of %1, which may write it again.</source>
        <translation>Es ist die Datei von %1, das sie wieder überschreiben kann.</translation>
    </message>
    <message>
        <source>%1 holds more than name servers, or is the file of another program.</source>
        <translation>%1 enthält mehr als Nameserver oder ist die Datei eines anderen Programms.</translation>
    </message>
    <message>
        <source>%1 names no name server.</source>
        <translation>%1 nennt keinen Nameserver.</translation>
    </message>
    <message>
        <source>No name server answers.</source>
        <translation>Kein Nameserver antwortet.</translation>
    </message>
    <message>
        <source>See whether the connection is up (kestra-setup status), then set others with kestra-setup dns set.</source>
        <translation>Prüfen, ob die Verbindung steht (kestra-setup status), dann mit kestra-setup dns set andere festlegen.</translation>
    </message>
    <message>
        <source>installed</source>
        <translation>installiert</translation>
    </message>
    <message>
        <source>can be installed</source>
        <translation>installierbar</translation>
    </message>
    <message>
        <source>cannot be had</source>
        <translation>nicht zu haben</translation>
    </message>
    <message>
        <source>%1  %2 (for %3)</source>
        <translation>%1  %2 (für %3)</translation>
    </message>
    <message>
        <source>Not installed: %1.</source>
        <translation>Nicht installiert: %1.</translation>
    </message>
    <message>
        <source>kestra-setup packages install installs them.</source>
        <translation>kestra-setup packages install installiert sie.</translation>
    </message>
    <message>
        <source>They cannot be had together: %1</source>
        <translation>Zusammen sind sie nicht zu haben: %1</translation>
    </message>
    <message>
        <source>Cannot be had: %1.</source>
        <translation>Nicht zu haben: %1.</translation>
    </message>
    <message>
        <source> An installation disc may have them: kestra-setup disc add.</source>
        <translation> Ein Installationsmedium könnte sie enthalten: kestra-setup disc add.</translation>
    </message>
    <message>
        <source> and </source>
        <translation> und </translation>
    </message>
    <message>
        <source>The provider database has no country &quot;%1&quot;.</source>
        <translation>Die Anbieterdatenbank hat kein Land „%1“.</translation>
    </message>
    <message>
        <source>kestra-setup providers lists all.</source>
        <translation>kestra-setup providers listet alle auf.</translation>
    </message>
    <message>
        <source>%1 is a valid provider database.</source>
        <translation>%1 ist eine gültige Anbieterdatenbank.</translation>
    </message>
    <message>
        <source>%1 is no valid provider database.</source>
        <translation>%1 ist keine gültige Anbieterdatenbank.</translation>
    </message>
    <message>
        <source>Mend what is listed.</source>
        <translation>Berichtigen, was aufgelistet ist.</translation>
    </message>
    <message>
        <source>no driver is known to be set up</source>
        <translation>es ist kein eingerichteter Treiber bekannt</translation>
    </message>
    <message>
        <source>there are none</source>
        <translation>es gibt keine</translation>
    </message>
    <message>
        <source>there are none about USB, ATM and PPP</source>
        <translation>es gibt keine über USB, ATM und PPP</translation>
    </message>
    <message>
        <source>a set-up has changed nothing</source>
        <translation>eine Einrichtung hat nichts geändert</translation>
    </message>
    <message>
        <source>only root may know them</source>
        <translation>nur root darf sie kennen</translation>
    </message>
    <message>
        <source>A report of kestra-setup, made at %1.
User names and passwords are masked.

Left out:
</source>
        <translation>Ein Bericht von kestra-setup, erstellt am %1.
Benutzernamen und Passwörter sind unkenntlich gemacht.

Ausgelassen:
</translation>
    </message>
    <message>
        <source>The report is in %1; it holds:</source>
        <translation>Der Bericht ist in %1; er enthält:</translation>
    </message>
    <message>
        <source>Left out:</source>
        <translation>Ausgelassen:</translation>
    </message>
    <message>
        <source>User names and passwords are masked. Look through it before you give it to others.</source>
        <translation>Benutzernamen und Passwörter sind unkenntlich gemacht. Den Bericht durchsehen, bevor ihn andere bekommen.</translation>
    </message>
    <message>
        <source>See kestra-setup --help.</source>
        <translation>Näheres zeigt kestra-setup --help.</translation>
    </message>
    <message>
        <source>none is plugged in</source>
        <translation>keines ist eingesteckt</translation>
    </message>
    <message>
        <source>unknown: </source>
        <translation>unbekannt: </translation>
    </message>
    <message>
        <source>none is set up</source>
        <translation>keiner ist eingerichtet</translation>
    </message>
    <message>
        <source>not installed for this kernel</source>
        <translation>für diesen Kernel nicht installiert</translation>
    </message>
    <message>
        <source>loaded</source>
        <translation>geladen</translation>
    </message>
    <message>
        <source>not loaded</source>
        <translation>nicht geladen</translation>
    </message>
    <message>
        <source>the connection is not started at boot</source>
        <translation>die Verbindung wird beim Systemstart nicht aufgebaut</translation>
    </message>
    <message>
        <source>the connection is started at boot</source>
        <translation>die Verbindung wird beim Systemstart aufgebaut</translation>
    </message>
    <message>
        <source>none</source>
        <translation>keine</translation>
    </message>
    <message>
        <source>down</source>
        <translation>getrennt</translation>
    </message>
    <message>
        <source>up, %1 has %2</source>
        <translation>steht, %1 hat %2</translation>
    </message>
    <message>
        <source>pppd runs, but is not connected</source>
        <translation>pppd läuft, ist aber nicht verbunden</translation>
    </message>
    <message>
        <source>modem</source>
        <translation>Modem</translation>
    </message>
    <message>
        <source>driver</source>
        <translation>Treiber</translation>
    </message>
    <message>
        <source>boot</source>
        <translation>Systemstart</translation>
    </message>
    <message>
        <source>name servers</source>
        <translation>Nameserver</translation>
    </message>
    <message>
        <source>link</source>
        <translation>Verbindung</translation>
    </message>
    <message>
        <source>as before the set-up</source>
        <translation>wie vor der Einrichtung</translation>
    </message>
    <message>
        <source>unchanged</source>
        <translation>unverändert</translation>
    </message>
    <message>
        <source>edited since</source>
        <translation>seither bearbeitet</translation>
    </message>
    <message>
        <source>missing</source>
        <translation>fehlt</translation>
    </message>
    <message>
        <source>  none</source>
        <translation>  keine</translation>
    </message>
    <message>
        <source>files that a set-up has changed:</source>
        <translation>Dateien, die eine Einrichtung geändert hat:</translation>
    </message>
    <message>
        <source>%1 failed:</source>
        <translation>%1 ist fehlgeschlagen:</translation>
    </message>
    <message>
        <source>As before again: %1</source>
        <translation>Wieder wie vorher: %1</translation>
    </message>
    <message>
        <source>Left alone, as it was changed after the set-up: %1</source>
        <translation>Belassen, da nach der Einrichtung geändert: %1</translation>
    </message>
    <message>
        <source>Could not be made as before: %1</source>
        <translation>Ließ sich nicht machen, wie es vorher war: %1</translation>
    </message>
    <message>
        <source>Removed the packages %1.</source>
        <translation>Die Pakete %1 wurden entfernt.</translation>
    </message>
    <message>
        <source>Removed the backup %1.</source>
        <translation>Die Sicherung %1 wurde entfernt.</translation>
    </message>
    <message>
        <source>The backup %1 stays: not all of it is back.</source>
        <translation>Die Sicherung %1 bleibt: Nicht alles daraus ist zurück.</translation>
    </message>
    <message>
        <source>The logs in %1 stay, for a report.</source>
        <translation>Die Protokolle in %1 bleiben für einen Bericht.</translation>
    </message>
    <message>
        <source>Not everything could be undone.</source>
        <translation>Nicht alles ließ sich rückgängig machen.</translation>
    </message>
    <message>
        <source>See above what is left, and start again when the cause is gone.</source>
        <translation>Oben steht, was übrig ist; neu starten, wenn die Ursache behoben ist.</translation>
    </message>
    <message>
        <source>What was undone could not be noted in %1.</source>
        <translation>Was rückgängig gemacht wurde, ließ sich nicht in %1 vermerken.</translation>
    </message>
    <message>
        <source>See whether the disk is full or protected, then start again.</source>
        <translation>Prüfen, ob der Datenträger voll oder geschützt ist, dann neu starten.</translation>
    </message>
    <message>
        <source>Not everything was undone.</source>
        <translation>Nicht alles wurde rückgängig gemacht.</translation>
    </message>
    <message>
        <source>See who has changed it.</source>
        <translation>Prüfen, wer es geändert hat.</translation>
    </message>
    <message>
        <source>There is nothing to undo.</source>
        <translation>Es gibt nichts rückgängig zu machen.</translation>
    </message>
    <message>
        <source>The packages %1 stay; undo --packages removes them.</source>
        <translation>Die Pakete %1 bleiben; undo --packages entfernt sie.</translation>
    </message>
    <message>
        <source>Make or download it again.</source>
        <translation>Es neu erstellen oder herunterladen.</translation>
    </message>
    <message>
        <source>Get it from a source that you trust.</source>
        <translation>Es aus einer vertrauenswürdigen Quelle holen.</translation>
    </message>
    <message>
        <source>holds something that is neither file nor directory nor link (%1)</source>
        <translation>enthält etwas, das weder Datei noch Verzeichnis noch Verweis ist (%1)</translation>
    </message>
    <message>
        <source>holds more than %1 MiB</source>
        <translation>enthält mehr als %1 MiB</translation>
    </message>
    <message>
        <source>holds more than %1 files</source>
        <translation>enthält mehr als %1 Dateien</translation>
    </message>
    <message>
        <source>would put files outside its directory (%1)</source>
        <translation>würde Dateien außerhalb seines Verzeichnisses ablegen (%1)</translation>
    </message>
    <message>
        <source>would write through a link of its own (%1)</source>
        <translation>würde durch einen eigenen Verweis schreiben (%1)</translation>
    </message>
    <message>
        <source>has a link that leads outside its directory (%1 to %2)</source>
        <translation>hat einen Verweis, der aus seinem Verzeichnis hinausführt (%1 nach %2)</translation>
    </message>
    <message>
        <source>is empty</source>
        <translation>ist leer</translation>
    </message>
    <message>
        <source>is larger than %1 MiB</source>
        <translation>ist größer als %1 MiB</translation>
    </message>
    <message>
        <source>could not be read to its end in %1 seconds</source>
        <translation>ließ sich in %1 Sekunden nicht bis zum Ende lesen</translation>
    </message>
    <message>
        <source>is no tar archive that can be read to its end</source>
        <translation>ist kein tar-Archiv, das sich bis zum Ende lesen lässt</translation>
    </message>
    <message>
        <source>holds no files</source>
        <translation>enthält keine Dateien</translation>
    </message>
    <message>
        <source>starts and stops the connection</source>
        <translation>startet und beendet die Verbindung</translation>
    </message>
    <message>
        <source>The working directory is gone.</source>
        <translation>Das Arbeitsverzeichnis ist verschwunden.</translation>
    </message>
    <message>
        <source>removed</source>
        <translation>entfernt</translation>
    </message>
    <message>
        <source>link to %1</source>
        <translation>Verweis auf %1</translation>
    </message>
    <message>
        <source>The link %1 could not be made.</source>
        <translation>Der Verweis %1 ließ sich nicht anlegen.</translation>
    </message>
    <message>
        <source>See what is in its place, then start again.</source>
        <translation>Prüfen, was an seiner Stelle ist, dann neu starten.</translation>
    </message>
    <message>
        <source>%1/rc0.d to rc6.d</source>
        <translation>%1/rc0.d bis rc6.d</translation>
    </message>
    <message>
        <source>The connection did not come up (%1 start: %2).</source>
        <translation>Die Verbindung kam nicht zustande (%1 start: %2).</translation>
    </message>
    <message>
        <source>code %1</source>
        <translation>Code %1</translation>
    </message>
    <message>
        <source>it did not run to its end</source>
        <translation>lief nicht bis zum Ende</translation>
    </message>
    <message>
        <source>See what it has said, and whether the modem is plugged in and the line reaches it; try again with kestra-setup connect --start.</source>
        <translation>Die Ausgabe ansehen und prüfen, ob das Modem eingesteckt ist und die Leitung es erreicht; dann kestra-setup connect --start erneut versuchen.</translation>
    </message>
    <message>
        <source>The driver bundle %1 %2.</source>
        <translation>Das Treiberpaket %1 %2.</translation>
    </message>
    <message>
        <source>does not exist or is not a readable file</source>
        <translation>existiert nicht oder ist keine lesbare Datei</translation>
    </message>
    <message>
        <source>Give its path with --driver-bundle.</source>
        <translation>Seinen Pfad mit --driver-bundle angeben.</translation>
    </message>
    <message>
        <source>The driver catalogue&apos;s %1 is no list of keys and values.</source>
        <translation>%1 im Treiberkatalog ist keine Liste von Schlüsseln und Werten.</translation>
    </message>
    <message>
        <source>The driver catalogue&apos;s %1 has no %2.</source>
        <translation>%1 im Treiberkatalog hat kein %2.</translation>
    </message>
    <message>
        <source>The driver catalogue&apos;s %1 has &quot;%2&quot;, which cannot be the name of a file.</source>
        <translation>%1 im Treiberkatalog enthält „%2“, was kein Dateiname sein kann.</translation>
    </message>
    <message>
        <source>There is no driver catalogue in %1.</source>
        <translation>In %1 ist kein Treiberkatalog.</translation>
    </message>
    <message>
        <source>pppd is not installed; the connection needs it.</source>
        <translation>pppd ist nicht installiert; die Verbindung braucht es.</translation>
    </message>
    <message>
        <source>how pppd reaches the provider</source>
        <translation>wie pppd den Anbieter erreicht</translation>
    </message>
    <message>
        <source>line parameters for the driver</source>
        <translation>Leitungsparameter für den Treiber</translation>
    </message>
    <message>
        <source>user name and password, for root only</source>
        <translation>Benutzername und Passwort, nur für root</translation>
    </message>
    <message>
        <source>options of every pppd connection</source>
        <translation>Optionen jeder pppd-Verbindung</translation>
    </message>
    <message>
        <source>what the init script needs to know</source>
        <translation>was das Init-Skript wissen muss</translation>
    </message>
    <message>
        <source>Waiting for a modem to be plugged in</source>
        <translation>Warten, bis ein Modem eingesteckt wird</translation>
    </message>
    <message>
        <source>%1, driver %2, version %3</source>
        <translation>%1, Treiber %2, Version %3</translation>
    </message>
    <message>
        <source>%1 %2; modems are seen as soon as it runs.</source>
        <translation>%1 %2; Modems werden erkannt, sobald er läuft.</translation>
    </message>
    <message>
        <source>Plugged in already: %1</source>
        <translation>Schon eingesteckt: %1</translation>
    </message>
    <message>
        <source>The modem %1 is plugged in already; take it (yes or no)</source>
        <translation>Das Modem %1 ist schon eingesteckt; dieses nehmen (ja oder nein)</translation>
    </message>
    <message>
        <source>Please answer yes or no.</source>
        <translation>Bitte mit ja oder nein antworten.</translation>
    </message>
    <message>
        <source>With no, the set-up waits for another modem to be plugged in.</source>
        <translation>Bei nein wartet die Einrichtung, bis ein anderes Modem eingesteckt wird.</translation>
    </message>
    <message>
        <source>The system message bus has gone away.</source>
        <translation>Der Nachrichtenbus des Systems ist verschwunden.</translation>
    </message>
    <message>
        <source>Start the service dbus, then start again.</source>
        <translation>Den Dienst dbus starten, dann neu starten.</translation>
    </message>
    <message>
        <source>No supported modem was plugged in within %1 seconds.</source>
        <translation>Innerhalb von %1 Sekunden wurde kein unterstütztes Modem eingesteckt.</translation>
    </message>
    <message>
        <source>%1, then start again.</source>
        <translation>%1, dann neu starten.</translation>
    </message>
    <message>
        <source>Plug it in, then start again.</source>
        <translation>Es einstecken, dann neu starten.</translation>
    </message>
    <message>
        <source>driver %1, version %2, as given</source>
        <translation>Treiber %1, Version %2, wie angegeben</translation>
    </message>
    <message>
        <source>It has %1.</source>
        <translation>Er hat %1.</translation>
    </message>
    <message>
        <source>Another disc is mounted at %1.</source>
        <translation>Unter %1 ist ein anderes Medium eingehängt.</translation>
    </message>
    <message>
        <source>Eject it with kestra-setup disc eject, then start again.</source>
        <translation>Es mit kestra-setup disc eject auswerfen, dann neu starten.</translation>
    </message>
    <message>
        <source>%1 could not be mounted at %2.</source>
        <translation>%1 ließ sich nicht unter %2 einhängen.</translation>
    </message>
    <message>
        <source>See whether it can be read, then start again.</source>
        <translation>Prüfen, ob es sich lesen lässt, dann neu starten.</translation>
    </message>
    <message>
        <source>the disc in %1</source>
        <translation>das Medium in %1</translation>
    </message>
    <message>
        <source>the disc &quot;%1&quot; in %2</source>
        <translation>das Medium „%1“ in %2</translation>
    </message>
    <message>
        <source>There are no packages for %1 on %2.</source>
        <translation>Pakete für %1 hat %2 nicht.</translation>
    </message>
    <message>
        <source>Insert the installation disc of this distribution, then start again.</source>
        <translation>Das Installationsmedium dieser Distribution einlegen, dann neu starten.</translation>
    </message>
    <message>
        <source>%1 could not be made a source of packages.</source>
        <translation>%1 ließ sich nicht zur Paketquelle machen.</translation>
    </message>
    <message>
        <source>See whether it is the installation disc of this distribution.</source>
        <translation>Prüfen, ob es das Installationsmedium dieser Distribution ist.</translation>
    </message>
    <message>
        <source>source of packages: %1</source>
        <translation>Paketquelle: %1</translation>
    </message>
    <message>
        <source>%1 could not be ejected.</source>
        <translation>%1 ließ sich nicht auswerfen.</translation>
    </message>
    <message>
        <source>See whether a program uses it, then start again.</source>
        <translation>Prüfen, ob ein Programm es benutzt, dann neu starten.</translation>
    </message>
    <message>
        <source>look for discs again</source>
        <translation>noch einmal nach Medien suchen</translation>
    </message>
    <message>
        <source>give up</source>
        <translation>aufgeben</translation>
    </message>
    <message>
        <source>An installation disc may have them.</source>
        <translation>Ein Installationsmedium könnte sie enthalten.</translation>
    </message>
    <message>
        <source>Insert the installation disc. What now</source>
        <translation>Das Installationsmedium einlegen. Was nun</translation>
    </message>
    <message>
        <source>Which disc is the installation disc</source>
        <translation>Welches Medium ist das Installationsmedium</translation>
    </message>
    <message>
        <source>The driver tree %1 is not below the directory %2 in which the bundle is unpacked.</source>
        <translation>Der Treiberbaum %1 liegt nicht unterhalb des Verzeichnisses %2, in das das Treiberpaket ausgepackt wird.</translation>
    </message>
    <message>
        <source>Mend --driver-tree or --extraction-path.</source>
        <translation>--driver-tree oder --extraction-path berichtigen.</translation>
    </message>
    <message>
        <source>The driver bundle lies in the driver tree %1, which is emptied first.</source>
        <translation>Das Treiberpaket liegt im Treiberbaum %1, der zuerst geleert wird.</translation>
    </message>
    <message>
        <source>Move the bundle to another place.</source>
        <translation>Das Treiberpaket an einen anderen Ort verschieben.</translation>
    </message>
    <message>
        <source>does not hold the driver tree %1</source>
        <translation>enthält den Treiberbaum %1 nicht</translation>
    </message>
    <message>
        <source>Name the directory that it unpacks into with --driver-tree.</source>
        <translation>Das Verzeichnis, in das es sich auspackt, mit --driver-tree nennen.</translation>
    </message>
    <message>
        <source>No bundle of the driver %1 is at hand.</source>
        <translation>Es ist kein Treiberpaket für %1 vorhanden.</translation>
    </message>
    <message>
        <source>The driver bundle %1 is not in %2.</source>
        <translation>Das Treiberpaket %1 ist nicht in %2.</translation>
    </message>
    <message>
        <source> or </source>
        <translation> oder </translation>
    </message>
    <message>
        <source>Put it there, or give its path with --driver-bundle.</source>
        <translation>Es dort ablegen oder seinen Pfad mit --driver-bundle angeben.</translation>
    </message>
    <message>
        <source>The sources of the driver %1, as a tar archive. kestra-setup drivers tells where they come from.</source>
        <translation>Der Quelltext des Treibers %1 als tar-Archiv. kestra-setup drivers zeigt, woher er kommt.</translation>
    </message>
    <message>
        <source>Driver bundle for %1 (a tar archive)</source>
        <translation>Treiberpaket für %1 (ein tar-Archiv)</translation>
    </message>
    <message>
        <source>No driver bundle was given.</source>
        <translation>Es wurde kein Treiberpaket angegeben.</translation>
    </message>
    <message>
        <source>Type its path when asked, or use --driver-bundle or --no-driver.</source>
        <translation>Seinen Pfad auf die Frage hin eingeben oder --driver-bundle oder --no-driver benutzen.</translation>
    </message>
    <message>
        <source>Taking the bundle %1</source>
        <translation>Das Treiberpaket %1 wird genommen</translation>
    </message>
    <message>
        <source>There is not enough room in %1: the driver takes %2 KiB, and %3 KiB are left.</source>
        <translation>In %1 ist nicht genug Platz: Der Treiber braucht %2 KiB, frei sind %3 KiB.</translation>
    </message>
    <message>
        <source>Make room, or give another directory with --extraction-path.</source>
        <translation>Platz schaffen oder mit --extraction-path ein anderes Verzeichnis angeben.</translation>
    </message>
    <message>
        <source>No C compiler is installed.</source>
        <translation>Es ist kein C-Compiler installiert.</translation>
    </message>
    <message>
        <source>Install the package gcc.</source>
        <translation>Das Paket gcc installieren.</translation>
    </message>
    <message>
        <source>The program patch is not installed.</source>
        <translation>Das Programm patch ist nicht installiert.</translation>
    </message>
    <message>
        <source>Install the package patch.</source>
        <translation>Das Paket patch installieren.</translation>
    </message>
    <message>
        <source>Others than root can write to %1, so the driver would not be safe in %2.</source>
        <translation>Nicht nur root kann in %1 schreiben, daher wäre der Treiber in %2 nicht sicher.</translation>
    </message>
    <message>
        <source>Close it to them, or give another directory with --extraction-path.</source>
        <translation>Anderen das Schreiben dort verwehren oder mit --extraction-path ein anderes Verzeichnis angeben.</translation>
    </message>
    <message>
        <source>The patch %1 belongs neither to root nor to the owner of the driver bundle, or others can write to it.</source>
        <translation>Der Patch %1 gehört weder root noch dem Eigentümer des Treiberpakets, oder andere können ihn ändern.</translation>
    </message>
    <message>
        <source>See who put it there and what it does, then take it over with chown and chmod go-w, or remove it.</source>
        <translation>Prüfen, von wem er stammt und was er tut, dann ihn mit chown und chmod go-w übernehmen oder entfernen.</translation>
    </message>
    <message>
        <source>%1 does not end.</source>
        <translation>%1 endet nicht.</translation>
    </message>
    <message>
        <source>See what it waits for, then start again.</source>
        <translation>Prüfen, worauf es wartet, dann neu starten.</translation>
    </message>
    <message>
        <source>The whole output is in %1.</source>
        <translation>Die ganze Ausgabe steht in %1.</translation>
    </message>
    <message>
        <source>%1 could not be copied to the backup.</source>
        <translation>%1 ließ sich nicht in die Sicherung kopieren.</translation>
    </message>
    <message>
        <source>See whether /tmp is full, then start again.</source>
        <translation>Prüfen, ob /tmp voll ist, dann neu starten.</translation>
    </message>
    <message>
        <source>This machine boots with Secure Boot: the kernel will refuse the driver unless it is signed with a key that the machine knows.</source>
        <translation>Dieser Rechner startet mit Secure Boot: Der Kernel wird den Treiber ablehnen, wenn er nicht mit einem Schlüssel signiert ist, den der Rechner kennt.</translation>
    </message>
    <message>
        <source>The directory %1 could not be made.</source>
        <translation>Das Verzeichnis %1 ließ sich nicht anlegen.</translation>
    </message>
    <message>
        <source>Give another directory with --extraction-path.</source>
        <translation>Mit --extraction-path ein anderes Verzeichnis angeben.</translation>
    </message>
    <message>
        <source>what the tools said while building</source>
        <translation>was die Werkzeuge beim Übersetzen ausgaben</translation>
    </message>
    <message>
        <source>the unpacked driver</source>
        <translation>der ausgepackte Treiber</translation>
    </message>
    <message>
        <source>The bundle was not unpacked to %1.</source>
        <translation>Das Treiberpaket wurde nicht nach %1 ausgepackt.</translation>
    </message>
    <message>
        <source>See whether the disk is full. </source>
        <translation>Prüfen, ob der Datenträger voll ist. </translation>
    </message>
    <message>
        <source>Unpacking did not complete: %1 is not whole.</source>
        <translation>Das Auspacken wurde nicht fertig: %1 ist nicht vollständig.</translation>
    </message>
    <message>
        <source>there is no patch for %1</source>
        <translation>für %1 gibt es keinen Patch</translation>
    </message>
    <message>
        <source>kestra-setup applied %1</source>
        <translation>kestra-setup hat %1 angewendet</translation>
    </message>
    <message>
        <source>The patch %1 does not apply to the driver.</source>
        <translation>Der Patch %1 passt nicht zum Treiber.</translation>
    </message>
    <message>
        <source>Get the patch that belongs to this bundle, or remove it.</source>
        <translation>Den Patch beschaffen, der zu diesem Treiberpaket gehört, oder ihn entfernen.</translation>
    </message>
    <message>
        <source>The program patch could not do its work (%1).</source>
        <translation>Das Programm patch konnte seine Arbeit nicht tun (%1).</translation>
    </message>
    <message>
        <source>See whether the disk is full and %1 is a patch.</source>
        <translation>Prüfen, ob der Datenträger voll ist und ob %1 ein Patch ist.</translation>
    </message>
    <message>
        <source>The driver did not compile, and there is no room left in %1.</source>
        <translation>Der Treiber ließ sich nicht übersetzen, und in %1 ist kein Platz mehr.</translation>
    </message>
    <message>
        <source>Make room, or give another directory with --extraction-path. </source>
        <translation>Platz schaffen oder mit --extraction-path ein anderes Verzeichnis angeben. </translation>
    </message>
    <message>
        <source>The driver did not compile, as the compiler %1 is not installed.</source>
        <translation>Der Treiber ließ sich nicht übersetzen, da der Compiler %1 nicht installiert ist.</translation>
    </message>
    <message>
        <source>Install the package that has it. </source>
        <translation>Das Paket installieren, das ihn enthält. </translation>
    </message>
    <message>
        <source>The compiler run left no %1.</source>
        <translation>Beim Übersetzen entstand kein %1.</translation>
    </message>
    <message>
        <source>The driver did not compile (make ended with code %1).</source>
        <translation>Der Treiber ließ sich nicht übersetzen (make endete mit Code %1).</translation>
    </message>
    <message>
        <source>See whether the kernel headers and the driver fit together. </source>
        <translation>Prüfen, ob Kernel-Header und Treiber zueinander passen. </translation>
    </message>
    <message>
        <source>moved here from %1</source>
        <translation>von %1 hierher verschoben</translation>
    </message>
    <message>
        <source>no %1 is installed</source>
        <translation>es ist kein %1 installiert</translation>
    </message>
    <message>
        <source>The earlier driver is in %1.</source>
        <translation>Der frühere Treiber ist in %1.</translation>
    </message>
    <message>
        <source>unpacked and removed again</source>
        <translation>ausgepackt und wieder entfernt</translation>
    </message>
    <message>
        <source>installed with the driver</source>
        <translation>mit dem Treiber installiert</translation>
    </message>
    <message>
        <source>make ended well, but the new %1 is not in %2.</source>
        <translation>make endete ohne Fehler, doch das neue %1 ist nicht in %2.</translation>
    </message>
    <message>
        <source>The driver could not be installed (make ended with code %1).</source>
        <translation>Der Treiber ließ sich nicht installieren (make endete mit Code %1).</translation>
    </message>
    <message>
        <source>The earlier driver is not back. Copy it by hand: %1</source>
        <translation>Der frühere Treiber ist nicht zurück. Ihn von Hand kopieren: %1</translation>
    </message>
    <message>
        <source>No driver was installed before</source>
        <translation>Vorher war kein Treiber installiert</translation>
    </message>
    <message>
        <source>The earlier driver is installed again</source>
        <translation>Der frühere Treiber ist wieder installiert</translation>
    </message>
    <message>
        <source>%1, but there was no backup of what else has changed: %2. Install the package again that this belongs to. %3</source>
        <translation>%1, doch für das Übrige, was sich geändert hat, gab es keine Sicherung: %2. Das Paket neu installieren, zu dem es gehört. %3</translation>
    </message>
    <message>
        <source>every stage succeeded</source>
        <translation>alle Schritte sind gelungen</translation>
    </message>
    <message>
        <source>internal error</source>
        <translation>interner Fehler</translation>
    </message>
    <message>
        <source>an option is wrong, or an answer is missing</source>
        <translation>eine Option ist falsch, oder eine Antwort fehlt</translation>
    </message>
    <message>
        <source>not started as root</source>
        <translation>nicht als root gestartet</translation>
    </message>
    <message>
        <source>no supported modem was plugged in in time</source>
        <translation>es wurde nicht rechtzeitig ein unterstütztes Modem eingesteckt</translation>
    </message>
    <message>
        <source>the system message bus cannot be reached</source>
        <translation>der Nachrichtenbus des Systems ist nicht erreichbar</translation>
    </message>
    <message>
        <source>a program, file or directory that a later stage needs is missing or not safe</source>
        <translation>ein Programm, eine Datei oder ein Verzeichnis, das ein späterer Schritt braucht, fehlt oder ist nicht sicher</translation>
    </message>
    <message>
        <source>the driver bundle is missing or cannot be used</source>
        <translation>das Treiberpaket fehlt oder ist nicht verwendbar</translation>
    </message>
    <message>
        <source>the driver bundle could not be unpacked</source>
        <translation>das Treiberpaket ließ sich nicht auspacken</translation>
    </message>
    <message>
        <source>the patch for the running kernel could not be applied</source>
        <translation>der Patch für den laufenden Kernel ließ sich nicht anwenden</translation>
    </message>
    <message>
        <source>the driver did not compile</source>
        <translation>der Treiber ließ sich nicht übersetzen</translation>
    </message>
    <message>
        <source>the installed driver could not be saved; nothing was replaced</source>
        <translation>der installierte Treiber ließ sich nicht sichern; nichts wurde ersetzt</translation>
    </message>
    <message>
        <source>the driver could not be installed; all earlier modules are back</source>
        <translation>der Treiber ließ sich nicht installieren; alle früheren Module sind zurück</translation>
    </message>
    <message>
        <source>the driver could not be installed; not all earlier modules are back</source>
        <translation>der Treiber ließ sich nicht installieren; nicht alle früheren Module sind zurück</translation>
    </message>
    <message>
        <source>packages could not be installed, or are not (packages check)</source>
        <translation>Pakete ließen sich nicht installieren oder sind es nicht (packages check)</translation>
    </message>
    <message>
        <source>another program kept the package system locked</source>
        <translation>ein anderes Programm hielt das Paketsystem gesperrt</translation>
    </message>
    <message>
        <source>the provider database is missing or damaged</source>
        <translation>die Anbieterdatenbank fehlt oder ist beschädigt</translation>
    </message>
    <message>
        <source>the country or the service is unknown, or its line data is unusable</source>
        <translation>das Land oder der Tarif ist unbekannt, oder die Leitungsdaten sind nicht verwendbar</translation>
    </message>
    <message>
        <source>the user name or the password cannot be used</source>
        <translation>der Benutzername oder das Passwort ist nicht verwendbar</translation>
    </message>
    <message>
        <source>a file of the connection could not be written</source>
        <translation>eine Datei der Verbindung ließ sich nicht schreiben</translation>
    </message>
    <message>
        <source>the connection could not be linked into the run levels</source>
        <translation>die Verbindung ließ sich nicht in die Runlevel eintragen</translation>
    </message>
    <message>
        <source>the name servers could not be set</source>
        <translation>die Nameserver ließen sich nicht festlegen</translation>
    </message>
    <message>
        <source>not everything could be undone</source>
        <translation>nicht alles ließ sich rückgängig machen</translation>
    </message>
    <message>
        <source>another set-up is running</source>
        <translation>eine andere Einrichtung läuft</translation>
    </message>
    <message>
        <source>the connection did not come up</source>
        <translation>die Verbindung kam nicht zustande</translation>
    </message>
    <message>
        <source>the report could not be written</source>
        <translation>der Bericht ließ sich nicht schreiben</translation>
    </message>
    <message>
        <source>there is no disc, or it could not be used</source>
        <translation>es gibt kein Medium, oder es ist nicht verwendbar</translation>
    </message>
    <message>
        <source>firmware could not be installed</source>
        <translation>Firmware ließ sich nicht installieren</translation>
    </message>
    <message>
        <source>interrupted</source>
        <translation>abgebrochen</translation>
    </message>
    <message>
        <source>%1 could not be written.</source>
        <translation>%1 ließ sich nicht schreiben.</translation>
    </message>
    <message>
        <source>See whether the disk is full or the file protected, then start again.</source>
        <translation>Prüfen, ob der Datenträger voll oder die Datei geschützt ist, dann neu starten.</translation>
    </message>
    <message>
        <source>is no regular file</source>
        <translation>ist keine gewöhnliche Datei</translation>
    </message>
    <message>
        <source>is another name for a file of somebody else</source>
        <translation>ist ein anderer Name für eine Datei von jemand anderem</translation>
    </message>
    <message>
        <source>does not exist or cannot be read</source>
        <translation>existiert nicht oder ist nicht lesbar</translation>
    </message>
    <message>
        <source>is neither a file nor a directory</source>
        <translation>ist weder Datei noch Verzeichnis</translation>
    </message>
    <message>
        <source>has not the name of a firmware file, and as an archive it %1</source>
        <translation>hat nicht den Namen einer Firmware-Datei, und als Archiv gelesen gilt: es %1</translation>
    </message>
    <message>
        <source>could not be unpacked to %1</source>
        <translation>ließ sich nicht nach %1 auspacken</translation>
    </message>
    <message>
        <source>is a link or cannot be read</source>
        <translation>ist ein Verweis oder nicht lesbar</translation>
    </message>
    <message>
        <source>cannot be read to its end</source>
        <translation>ist nicht bis zum Ende lesbar</translation>
    </message>
    <message>
        <source>%1 is a directory.</source>
        <translation>%1 ist ein Verzeichnis.</translation>
    </message>
    <message>
        <source>Others than root can write to %1.</source>
        <translation>Nicht nur root kann in %1 schreiben.</translation>
    </message>
    <message>
        <source>What is at %1 could not be kept in %2 for a later undo.</source>
        <translation>Was unter %1 liegt, ließ sich nicht in %2 aufbewahren, um es später zurückzubringen.</translation>
    </message>
    <message>
        <source>%1 could not be written: %2.</source>
        <translation>%1 ließ sich nicht schreiben: %2.</translation>
    </message>
    <message>
        <source>The hardware service (%1) is not there.</source>
        <translation>Der Hardware-Dienst (%1) ist nicht da.</translation>
    </message>
    <message>
        <source>Install the package kestra-hald</source>
        <translation>Das Paket kestra-hald installieren</translation>
    </message>
    <message>
        <source>The hardware service (%1) does not start or does not answer: %2.</source>
        <translation>Der Hardware-Dienst (%1) startet nicht oder antwortet nicht: %2.</translation>
    </message>
    <message>
        <source>See what &quot;journalctl -u kestra-hald&quot; shows</source>
        <translation>Ansehen, was „journalctl -u kestra-hald“ zeigt</translation>
    </message>
    <message>
        <source>is longer than %1 characters</source>
        <translation>ist länger als %1 Zeichen</translation>
    </message>
    <message>
        <source>has a double quote in it</source>
        <translation>enthält ein doppeltes Anführungszeichen</translation>
    </message>
    <message>
        <source>has a backslash in it</source>
        <translation>enthält einen umgekehrten Schrägstrich</translation>
    </message>
    <message>
        <source>has a line break in it</source>
        <translation>enthält einen Zeilenumbruch</translation>
    </message>
    <message>
        <source>has a control character in it</source>
        <translation>enthält ein Steuerzeichen</translation>
    </message>
    <message>
        <source>has a character in it that is not in Latin-1</source>
        <translation>enthält ein Zeichen, das nicht in Latin-1 ist</translation>
    </message>
    <message>
        <source>begins with @/, which pppd takes for the name of a file</source>
        <translation>beginnt mit @/, was pppd für den Namen einer Datei hält</translation>
    </message>
    <message>
        <source>The password cannot be read from %1: %2.</source>
        <translation>Das Passwort ließ sich nicht aus %1 lesen: %2.</translation>
    </message>
    <message>
        <source>Check it, then start again.</source>
        <translation>Das prüfen, dann neu starten.</translation>
    </message>
    <message>
        <source>The password file %1 cannot be opened: %2.</source>
        <translation>Die Passwortdatei %1 ließ sich nicht öffnen: %2.</translation>
    </message>
    <message>
        <source>Give a file that root can read with --password-file.</source>
        <translation>Mit --password-file eine Datei angeben, die root lesen kann.</translation>
    </message>
    <message>
        <source>The password file %1 is not a file.</source>
        <translation>Die Passwortdatei %1 ist keine Datei.</translation>
    </message>
    <message>
        <source>Use --password-stdin to pass a password by a pipe.</source>
        <translation>Mit --password-stdin lässt sich ein Passwort durch eine Pipe übergeben.</translation>
    </message>
    <message>
        <source>The password file %1 is open to others than its owner.</source>
        <translation>Die Passwortdatei %1 ist nicht nur für ihren Eigentümer zugänglich.</translation>
    </message>
    <message>
        <source>Run: chmod 600 %1</source>
        <translation>Ausführen: chmod 600 %1</translation>
    </message>
    <message>
        <source>No %1 was given.</source>
        <translation>Es wurde kein %1 angegeben.</translation>
    </message>
    <message>
        <source>Type it when asked, or use %1.</source>
        <translation>Auf die Frage hin eingeben oder %1 benutzen.</translation>
    </message>
    <message>
        <source>The user name cannot be used with pppd: it %1.</source>
        <translation>Der Benutzername ist mit pppd nicht verwendbar: Er %1.</translation>
    </message>
    <message>
        <source>Check the spelling in the provider&apos;s letter.</source>
        <translation>Die Schreibweise im Brief des Anbieters prüfen.</translation>
    </message>
    <message>
        <source>Ask the provider for another password.</source>
        <translation>Den Anbieter um ein anderes Passwort bitten.</translation>
    </message>
    <message>
        <source>Pass the password and nothing else on standard input.</source>
        <translation>Das Passwort und sonst nichts auf der Standardeingabe übergeben.</translation>
    </message>
    <message>
        <source>Write the password and nothing else to the file %1.</source>
        <translation>Das Passwort und sonst nichts in die Datei %1 schreiben.</translation>
    </message>
    <message>
        <source>Start again and type it when asked.</source>
        <translation>Neu starten und es auf die Frage hin eingeben.</translation>
    </message>
    <message>
        <source>The password cannot be used with pppd: it %1.</source>
        <translation>Das Passwort ist mit pppd nicht verwendbar: Es %1.</translation>
    </message>
    <message>
        <source>The name that the provider has given you for the connection; often it has an @ in it. &lt; goes back to the provider.</source>
        <translation>Der Name, den der Anbieter für die Verbindung vergeben hat; oft enthält er ein @. &lt; führt zum Anbieter zurück.</translation>
    </message>
    <message>
        <source>User name</source>
        <translation>Benutzername</translation>
    </message>
    <message>
        <source>user name</source>
        <translation>Benutzername</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Passwort</translation>
    </message>
    <message>
        <source>password</source>
        <translation>Passwort</translation>
    </message>
    <message>
        <source>--password-file or --password-stdin</source>
        <translation>--password-file oder --password-stdin</translation>
    </message>
    <message>
        <source>standard input</source>
        <translation>der Standardeingabe</translation>
    </message>
    <message>
        <source>Removed %1, which the failed installation left.</source>
        <translation>%1 wurde entfernt, das die fehlgeschlagene Installation hinterließ.</translation>
    </message>
    <message>
        <source>changed by the failed installation</source>
        <translation>durch die fehlgeschlagene Installation geändert</translation>
    </message>
    <message>
        <source>The failed installation left %1.</source>
        <translation>Die fehlgeschlagene Installation hinterließ %1.</translation>
    </message>
    <message>
        <source>The failed installation changed %1, which no backup was made of.</source>
        <translation>Die fehlgeschlagene Installation hat %1 geändert, wovon es keine Sicherung gibt.</translation>
    </message>
    <message>
        <source>The directory %1 could not be made: %2.</source>
        <translation>Das Verzeichnis %1 ließ sich nicht anlegen: %2.</translation>
    </message>
    <message>
        <source>Somebody else has put something in the place of %1, where the installed driver was to be saved.</source>
        <translation>Jemand anderes hat etwas an die Stelle von %1 gelegt, wo der installierte Treiber gesichert werden sollte.</translation>
    </message>
    <message>
        <source>See who made it, move it away, then start again.</source>
        <translation>Prüfen, von wem es stammt, es wegschieben, dann neu starten.</translation>
    </message>
    <message>
        <source>The earlier backup %1 could not be renamed.</source>
        <translation>Die frühere Sicherung %1 ließ sich nicht umbenennen.</translation>
    </message>
    <message>
        <source>Move it away, then start again.</source>
        <translation>Sie wegschieben, dann neu starten.</translation>
    </message>
    <message>
        <source>backup of an earlier run, renamed</source>
        <translation>Sicherung eines früheren Laufs, umbenannt</translation>
    </message>
    <message>
        <source>has copies of what else the installation may replace</source>
        <translation>enthält Kopien des Übrigen, was die Installation ersetzen kann</translation>
    </message>
    <message>
        <source>The earlier driver is back, byte for byte: %1</source>
        <translation>Der frühere Treiber ist zurück, Byte für Byte: %1</translation>
    </message>
    <message>
        <source>The earlier file is back, byte for byte: %1</source>
        <translation>Die frühere Datei ist zurück, Byte für Byte: %1</translation>
    </message>
    <message>
        <source>damaged</source>
        <translation>beschädigt</translation>
    </message>
    <message>
        <source>%1 could not be written: it is a link to %2.</source>
        <translation>%1 ließ sich nicht schreiben: Es ist ein Verweis auf %2.</translation>
    </message>
    <message>
        <source>See whether the directory of that file exists and whether the disk is full or the file protected, then start again.</source>
        <translation>Prüfen, ob das Verzeichnis dieser Datei existiert und ob der Datenträger voll oder die Datei geschützt ist, dann neu starten.</translation>
    </message>
    <message>
        <source>the provider&apos;s name servers are not known; most announce them when the connection comes up</source>
        <translation>die Nameserver des Anbieters sind nicht bekannt; die meisten Anbieter melden sie, wenn die Verbindung zustande kommt</translation>
    </message>
    <message>
        <source>%1 is left as it is</source>
        <translation>%1 bleibt, wie es ist</translation>
    </message>
    <message>
        <source>None of the provider&apos;s name servers is a valid address: %1.</source>
        <translation>Keiner der Nameserver des Anbieters ist eine gültige Adresse: %1.</translation>
    </message>
    <message>
        <source>Mend the provider database, or use --no-dns.</source>
        <translation>Die Anbieterdatenbank berichtigen oder --no-dns benutzen.</translation>
    </message>
    <message>
        <source>%1 could not be saved as %2.</source>
        <translation>%1 ließ sich nicht als %2 sichern.</translation>
    </message>
    <message>
        <source>See whether the disk is full or something else is in that place, then start again.</source>
        <translation>Prüfen, ob der Datenträger voll ist oder etwas anderes an dieser Stelle liegt, dann neu starten.</translation>
    </message>
    <message>
        <source>the file as it was before the first change</source>
        <translation>die Datei, wie sie vor der ersten Änderung war</translation>
    </message>
    <message>
        <source>The set-up was interrupted.</source>
        <translation>Die Einrichtung wurde abgebrochen.</translation>
    </message>
    <message>
        <source>Start it again to go on; every stage may be repeated.</source>
        <translation>Neu starten, um fortzufahren; jeder Schritt darf wiederholt werden.</translation>
    </message>
    <message>
        <source>The package system is locked by %1.</source>
        <translation>Das Paketsystem ist gesperrt von %1.</translation>
    </message>
    <message>
        <source>Let it end or stop it, then start again.</source>
        <translation>Das Ende abwarten oder es beenden, dann neu starten.</translation>
    </message>
    <message>
        <source>the package system, which is locked by %1</source>
        <translation>das Paketsystem, gesperrt von %1</translation>
    </message>
    <message>
        <source>wait</source>
        <translation>warten</translation>
    </message>
    <message>
        <source>try again</source>
        <translation>noch einmal versuchen</translation>
    </message>
    <message>
        <source>The package system is locked by %1. What now</source>
        <translation>Das Paketsystem ist gesperrt von %1. Was nun</translation>
    </message>
    <message>
        <source>With --driver, what builds its driver is looked at, too.</source>
        <translation>Mit --driver wird auch betrachtet, was seinen Treiber übersetzt.</translation>
    </message>
    <message>
        <source>driver %1</source>
        <translation>Treiber %1</translation>
    </message>
    <message>
        <source>There is no table of packages in %1.</source>
        <translation>In %1 ist keine Tabelle der Pakete.</translation>
    </message>
    <message>
        <source>%1 has no %2 in its section %3.</source>
        <translation>%1 hat kein %2 im Abschnitt %3.</translation>
    </message>
    <message>
        <source>The data of kestra-setup has a package &quot;%1&quot;, which is no name of a package.</source>
        <translation>Die Daten von kestra-setup haben ein Paket „%1“, was kein Paketname ist.</translation>
    </message>
    <message>
        <source>%1 does not tell which packages are installed.</source>
        <translation>%1 zeigt nicht, welche Pakete installiert sind.</translation>
    </message>
    <message>
        <source>Run it by hand to see what is wrong, then start again.</source>
        <translation>Es von Hand ausführen, um zu sehen, was nicht stimmt, dann neu starten.</translation>
    </message>
    <message>
        <source>%1: installed already</source>
        <translation>%1: schon installiert</translation>
    </message>
    <message>
        <source>packages installed</source>
        <translation>installierte Pakete</translation>
    </message>
    <message>
        <source>Wanted: %1.</source>
        <translation>Gesucht: %1.</translation>
    </message>
    <message>
        <source>Refresh the package lists (apt-get update, zypper refresh), or name other packages with --packages.</source>
        <translation>Die Paketlisten auffrischen (apt-get update, zypper refresh) oder mit --packages andere Pakete nennen.</translation>
    </message>
    <message>
        <source>The disk is full.</source>
        <translation>Der Datenträger ist voll.</translation>
    </message>
    <message>
        <source>Free some space, then start again.</source>
        <translation>Platz schaffen, dann neu starten.</translation>
    </message>
    <message>
        <source>Another program uses the package system.</source>
        <translation>Ein anderes Programm benutzt das Paketsystem.</translation>
    </message>
    <message>
        <source>Wait until it has ended, then start again.</source>
        <translation>Warten, bis es endet, dann neu starten.</translation>
    </message>
    <message>
        <source>An earlier installation of packages was cut off.</source>
        <translation>Eine frühere Installation von Paketen wurde unterbrochen.</translation>
    </message>
    <message>
        <source>Run dpkg --configure -a, then start again.</source>
        <translation>dpkg --configure -a ausführen, dann neu starten.</translation>
    </message>
    <message>
        <source>The disc with the packages is not in its drive.</source>
        <translation>Das Medium mit den Paketen ist nicht in seinem Laufwerk.</translation>
    </message>
    <message>
        <source>Insert it and use kestra-setup disc add, then start again.</source>
        <translation>Es einlegen und kestra-setup disc add benutzen, dann neu starten.</translation>
    </message>
    <message>
        <source>A package asks for consent to its licence, which only you can give.</source>
        <translation>Ein Paket verlangt Zustimmung zu seiner Lizenz, die nur ein Mensch geben kann.</translation>
    </message>
    <message>
        <source>Install it by hand, then start again.</source>
        <translation>Es von Hand installieren, dann neu starten.</translation>
    </message>
    <message>
        <source>The package sources do not know a package that is needed.</source>
        <translation>Die Paketquellen kennen ein benötigtes Paket nicht.</translation>
    </message>
    <message>
        <source>A package needs others that cannot be had, or that exclude what is installed.</source>
        <translation>Ein Paket braucht andere, die nicht zu haben sind oder die Installiertes ausschließen.</translation>
    </message>
    <message>
        <source>The package tools do not trust a package source.</source>
        <translation>Die Paketwerkzeuge vertrauen einer Paketquelle nicht.</translation>
    </message>
    <message>
        <source>Refresh the package lists, or mend the sources.</source>
        <translation>Die Paketlisten auffrischen oder die Quellen berichtigen.</translation>
    </message>
    <message>
        <source>The packages could not be downloaded.</source>
        <translation>Die Pakete ließen sich nicht herunterladen.</translation>
    </message>
    <message>
        <source>Connect to the network in another way, or add an installation disc with kestra-setup disc add.</source>
        <translation>Auf anderem Weg eine Netzverbindung herstellen oder mit kestra-setup disc add ein Installationsmedium hinzufügen.</translation>
    </message>
    <message>
        <source>The package tools refused the option --force-yes.</source>
        <translation>Die Paketwerkzeuge haben die Option --force-yes abgelehnt.</translation>
    </message>
    <message>
        <source>Install the packages by hand, then start again with --no-packages.</source>
        <translation>Die Pakete von Hand installieren, dann mit --no-packages neu starten.</translation>
    </message>
    <message>
        <source>%1 (the package tools ended with code %2).</source>
        <translation>%1 (die Paketwerkzeuge endeten mit Code %2).</translation>
    </message>
    <message>
        <source>Install them by hand to see what is wrong, then start again.</source>
        <translation>Sie von Hand installieren, um zu sehen, was nicht stimmt, dann neu starten.</translation>
    </message>
    <message>
        <source>The package sources do not know %1.</source>
        <translation>Die Paketquellen kennen %1 nicht.</translation>
    </message>
    <message>
        <source>%1 gives no answer, or was stopped.</source>
        <translation>%1 gibt keine Antwort oder wurde beendet.</translation>
    </message>
    <message>
        <source>Run it by hand to see what it waits for, then start again.</source>
        <translation>Es von Hand ausführen, um zu sehen, worauf es wartet, dann neu starten.</translation>
    </message>
    <message>
        <source>These packages cannot be had: %1</source>
        <translation>Diese Pakete sind nicht zu haben: %1</translation>
    </message>
    <message>
        <source>Not installed: %1</source>
        <translation>Nicht installiert: %1</translation>
    </message>
    <message>
        <source>The packages are installed, yet the package tools ended with code %1.</source>
        <translation>Die Pakete sind installiert, doch die Paketwerkzeuge endeten mit Code %1.</translation>
    </message>
    <message>
        <source>The system message bus cannot be reached: %1.</source>
        <translation>Der Nachrichtenbus des Systems ist nicht erreichbar: %1.</translation>
    </message>
    <message>
        <source>Start the service dbus.</source>
        <translation>Den Dienst dbus starten.</translation>
    </message>
    <message>
        <source>The program %1 is not installed.</source>
        <translation>Das Programm %1 ist nicht installiert.</translation>
    </message>
    <message>
        <source>Install the package %1.</source>
        <translation>Das Paket %1 installieren.</translation>
    </message>
    <message>
        <source>This distribution is unknown, and so are its package tools.</source>
        <translation>Diese Distribution ist unbekannt und damit auch ihre Paketwerkzeuge.</translation>
    </message>
    <message>
        <source>Name them with --package-manager, or use --no-packages.</source>
        <translation>Sie mit --package-manager nennen oder --no-packages benutzen.</translation>
    </message>
    <message>
        <source>The headers of the kernel are not in %1.</source>
        <translation>Die Kernel-Header sind nicht in %1.</translation>
    </message>
    <message>
        <source>Install the package linux-headers-%1, or give the directory with --kernel-headers.</source>
        <translation>Das Paket linux-headers-%1 installieren oder das Verzeichnis mit --kernel-headers angeben.</translation>
    </message>
    <message>
        <source>%1 is no directory that only root can write to, so the backup of the driver would not be safe there.</source>
        <translation>%1 ist kein Verzeichnis, in das nur root schreiben kann, daher wäre die Sicherung des Treibers dort nicht sicher.</translation>
    </message>
    <message>
        <source>See who made it, then move it away.</source>
        <translation>Prüfen, von wem es stammt, dann es wegschieben.</translation>
    </message>
    <message>
        <source>The init script %1 is missing.</source>
        <translation>Das Init-Skript %1 fehlt.</translation>
    </message>
    <message>
        <source>No connection is set up: there is no %1.</source>
        <translation>Es ist keine Verbindung eingerichtet: %1 fehlt.</translation>
    </message>
    <message>
        <source>Set one up with kestra-setup connect.</source>
        <translation>Mit kestra-setup connect eine einrichten.</translation>
    </message>
    <message>
        <source>The run-level directory %1 does not exist.</source>
        <translation>Das Runlevel-Verzeichnis %1 existiert nicht.</translation>
    </message>
    <message>
        <source>Install the distribution&apos;s support for init scripts, or use --no-boot.</source>
        <translation>Die Unterstützung der Distribution für Init-Skripte installieren oder --no-boot benutzen.</translation>
    </message>
    <message>
        <source>The directory /etc/init.d does not exist.</source>
        <translation>Das Verzeichnis /etc/init.d existiert nicht.</translation>
    </message>
    <message>
        <source>Use --no-boot.</source>
        <translation>--no-boot benutzen.</translation>
    </message>
    <message>
        <source>%1 cannot be written to: %2.</source>
        <translation>In %1 lässt sich nicht schreiben: %2.</translation>
    </message>
    <message>
        <source>Mount the file system for writing.</source>
        <translation>Das Dateisystem zum Schreiben einhängen.</translation>
    </message>
    <message>
        <source>process %1</source>
        <translation>Prozess %1</translation>
    </message>
    <message>
        <source>%1 (process %2)</source>
        <translation>%1 (Prozess %2)</translation>
    </message>
    <message>
        <source>country</source>
        <translation>Land</translation>
    </message>
    <message>
        <source>Country</source>
        <translation>Land</translation>
    </message>
    <message>
        <source>The country whose telephone line the modem is plugged into.</source>
        <translation>Das Land, an dessen Telefonleitung das Modem angeschlossen ist.</translation>
    </message>
    <message>
        <source>service</source>
        <translation>Tarif</translation>
    </message>
    <message>
        <source>Provider and service</source>
        <translation>Anbieter und Tarif</translation>
    </message>
    <message>
        <source>What you have a contract for; the provider&apos;s letter tells. &lt; goes back to the country.</source>
        <translation>Der Tarif laut Vertrag; er steht im Brief des Anbieters. &lt; führt zum Land zurück.</translation>
    </message>
    <message>
        <source>There is no %1 &quot;%2&quot;.</source>
        <translation>Unbekannter Name (%1): „%2“.</translation>
    </message>
    <message>
        <source>No %1 was chosen.</source>
        <translation>Nichts wurde gewählt (%1).</translation>
    </message>
    <message>
        <source>Choose one, or give it with %1.</source>
        <translation>Eine Wahl treffen oder mit %1 angeben.</translation>
    </message>
    <message>
        <source>The provider database has no %1 &quot;%2&quot;.</source>
        <translation>Der Anbieterdatenbank unbekannt (%1): „%2“.</translation>
    </message>
    <message>
        <source>Give another name with %1.</source>
        <translation>Mit %1 einen anderen Namen angeben.</translation>
    </message>
    <message>
        <source>There is no question to go back to.</source>
        <translation>Es gibt keine Frage, zu der es zurückgehen könnte.</translation>
    </message>
    <message>
        <source>The provider database has %1 for &quot;%2&quot;.</source>
        <translation>Die Anbieterdatenbank hat für „%2“ %1.</translation>
    </message>
    <message>
        <source>Mend the database, or choose another service.</source>
        <translation>Die Datenbank berichtigen oder einen anderen Tarif wählen.</translation>
    </message>
    <message>
        <source>the unknown protocol &quot;%1&quot;</source>
        <translation>das unbekannte Protokoll „%1“</translation>
    </message>
    <message>
        <source>no valid VPI and VCI</source>
        <translation>keine gültigen Werte für VPI und VCI</translation>
    </message>
    <message>
        <source>the unknown encapsulation &quot;%1&quot;</source>
        <translation>die unbekannte Kapselung „%1“</translation>
    </message>
    <message>
        <source>the name servers were given</source>
        <translation>die Nameserver wurden angegeben</translation>
    </message>
    <message>
        <source>it has no countries</source>
        <translation>sie hat keine Länder</translation>
    </message>
    <message>
        <source>it has no data for the service</source>
        <translation>sie hat keine Daten für den Tarif</translation>
    </message>
    <message>
        <source>a number from 0 to 255</source>
        <translation>eine Zahl von 0 bis 255</translation>
    </message>
    <message>
        <source>a number from 32 to 65535</source>
        <translation>eine Zahl von 32 bis 65535</translation>
    </message>
    <message>
        <source>pppoe or pppoa</source>
        <translation>pppoe oder pppoa</translation>
    </message>
    <message>
        <source>llc or vc</source>
        <translation>llc oder vc</translation>
    </message>
    <message>
        <source>an IPv4 address or empty</source>
        <translation>eine IPv4-Adresse oder leer</translation>
    </message>
    <message>
        <source>the outermost element must be services</source>
        <translation>das äußerste Element muss services sein</translation>
    </message>
    <message>
        <source>%1 is missing</source>
        <translation>%1 fehlt</translation>
    </message>
    <message>
        <source>%1 must be %2, not &quot;%3&quot;</source>
        <translation>%1 muss %2 sein, nicht „%3“</translation>
    </message>
    <message>
        <source>there is no %1</source>
        <translation>es gibt kein %1</translation>
    </message>
    <message>
        <source>there must be no text here</source>
        <translation>hier darf kein Text stehen</translation>
    </message>
    <message>
        <source>%1 needs a %2 that does not begin or end with a blank</source>
        <translation>%1 braucht ein %2, das nicht mit einem Leerzeichen beginnt oder endet</translation>
    </message>
    <message>
        <source>there is a %1 &quot;%2&quot; already</source>
        <translation>es gibt schon ein %1 „%2“</translation>
    </message>
    <message>
        <source>%1 has no place here</source>
        <translation>%1 gehört nicht hierher</translation>
    </message>
    <message>
        <source>The provider database %1 cannot be used: %2.</source>
        <translation>Die Anbieterdatenbank %1 ist nicht verwendbar: %2.</translation>
    </message>
    <message>
        <source>Install kestra-setup completely, or give another file with --providers.</source>
        <translation>kestra-setup vollständig installieren oder mit --providers eine andere Datei angeben.</translation>
    </message>
    <message>
        <source>there is no such file</source>
        <translation>es gibt keine solche Datei</translation>
    </message>
    <message>
        <source>line %1, column %2: %3</source>
        <translation>Zeile %1, Spalte %2: %3</translation>
    </message>
    <message>
        <source>%1 has entries of its own, which are replaced (kestra-setup undo brings them back):</source>
        <translation>%1 hat eigene Einträge, die ersetzt werden (kestra-setup undo bringt sie zurück):</translation>
    </message>
    <message>
        <source>%1 is the file of %2, which may write it again.</source>
        <translation>%1 ist die Datei von %2, das sie wieder überschreiben kann.</translation>
    </message>
    <message>
        <source>%1 is a link to %2: another program may change it.</source>
        <translation>%1 ist ein Verweis auf %2: Ein anderes Programm kann die Datei ändern.</translation>
    </message>
    <message>
        <source>%1 holds more than name servers, or is the file of another program, which may write it again.</source>
        <translation>%1 enthält mehr als Nameserver oder ist die Datei eines anderen Programms, das sie wieder überschreiben kann.</translation>
    </message>
    <message>
        <source>With no, the name servers stay as they are; most providers announce theirs when the connection comes up.</source>
        <translation>Bei nein bleiben die Nameserver, wie sie sind; die meisten Anbieter melden ihre, wenn die Verbindung zustande kommt.</translation>
    </message>
    <message>
        <source>Write the name servers there all the same (yes or no)</source>
        <translation>Die Nameserver trotzdem dorthin schreiben (ja oder nein)</translation>
    </message>
    <message>
        <source>Or use --no-dns.</source>
        <translation>Oder --no-dns benutzen.</translation>
    </message>
    <message>
        <source>Nobody said what to do with the name servers.</source>
        <translation>Niemand hat gesagt, was mit den Nameservern geschehen soll.</translation>
    </message>
    <message>
        <source>Answer when asked, or use --no-dns.</source>
        <translation>Auf die Frage antworten oder --no-dns benutzen.</translation>
    </message>
    <message>
        <source>check what the set-up needs</source>
        <translation>prüfen, was die Einrichtung braucht</translation>
    </message>
    <message>
        <source>choose the provider</source>
        <translation>Anbieter wählen</translation>
    </message>
    <message>
        <source>take user name and password</source>
        <translation>Benutzername und Passwort entgegennehmen</translation>
    </message>
    <message>
        <source>find the modem</source>
        <translation>Modem finden</translation>
    </message>
    <message>
        <source>check what the driver needs</source>
        <translation>prüfen, was der Treiber braucht</translation>
    </message>
    <message>
        <source>unpack the driver</source>
        <translation>Treiber auspacken</translation>
    </message>
    <message>
        <source>patch the driver</source>
        <translation>Treiber patchen</translation>
    </message>
    <message>
        <source>compile the driver</source>
        <translation>Treiber übersetzen</translation>
    </message>
    <message>
        <source>back up the installed driver</source>
        <translation>installierten Treiber sichern</translation>
    </message>
    <message>
        <source>install the driver</source>
        <translation>Treiber installieren</translation>
    </message>
    <message>
        <source>install packages</source>
        <translation>Pakete installieren</translation>
    </message>
    <message>
        <source>write the connection</source>
        <translation>Verbindung schreiben</translation>
    </message>
    <message>
        <source>link the connection into the run levels</source>
        <translation>Verbindung in die Runlevel eintragen</translation>
    </message>
    <message>
        <source>set the name servers</source>
        <translation>Nameserver festlegen</translation>
    </message>
    <message>
        <source>start the connection</source>
        <translation>Verbindung starten</translation>
    </message>
    <message>
        <source>Nothing has been changed so far. kestra-setup undo takes back what is done from now on.</source>
        <translation>Bis jetzt wurde nichts geändert. kestra-setup undo nimmt zurück, was von nun an geschieht.</translation>
    </message>
    <message>
        <source>The set-up was not begun.</source>
        <translation>Die Einrichtung wurde nicht begonnen.</translation>
    </message>
    <message>
        <source>Start it again to give other answers.</source>
        <translation>Neu starten, um andere Antworten zu geben.</translation>
    </message>
    <message>
        <source>The connection is set up.</source>
        <translation>Die Verbindung ist eingerichtet.</translation>
    </message>
    <message>
        <source>The driver is installed.</source>
        <translation>Der Treiber ist installiert.</translation>
    </message>
    <message>
        <source>The packages are installed.</source>
        <translation>Die Pakete sind installiert.</translation>
    </message>
    <message>
        <source>The connection will be started at boot.</source>
        <translation>Die Verbindung wird beim Systemstart aufgebaut.</translation>
    </message>
    <message>
        <source>The name servers are set.</source>
        <translation>Die Nameserver sind festgelegt.</translation>
    </message>
    <message>
        <source>It is up.</source>
        <translation>Sie steht.</translation>
    </message>
    <message>
        <source>&quot;/etc/init.d/kestrad start&quot; starts it now.</source>
        <translation>„/etc/init.d/kestrad start“ startet sie sofort.</translation>
    </message>
    <message>
        <source>Interrupted: stopping after this stage, or there would be no driver.</source>
        <translation>Abgebrochen: Nach diesem Schritt wird angehalten, sonst gäbe es keinen Treiber.</translation>
    </message>
    <message>
        <source>An internal error: %1.</source>
        <translation>Ein interner Fehler: %1.</translation>
    </message>
    <message>
        <source>Start it again; if that does not help, report it.</source>
        <translation>Neu starten; wenn das nicht hilft, den Fehler melden.</translation>
    </message>
    <message>
        <source>What was changed could not be noted in %1, so kestra-setup undo will need --force for some of it.</source>
        <translation>Die Änderungen ließen sich nicht in %1 vermerken, daher wird kestra-setup undo für manche davon --force brauchen.</translation>
    </message>
    <message>
        <source>%1 can be changed by others than root, so no lock would be safe there.</source>
        <translation>Nicht nur root kann %1 ändern, daher wäre eine Sperre dort nicht sicher.</translation>
    </message>
    <message>
        <source>See who made it, then start again.</source>
        <translation>Prüfen, von wem es stammt, dann neu starten.</translation>
    </message>
    <message>
        <source>The lock file %1 cannot be opened.</source>
        <translation>Die Sperrdatei %1 ließ sich nicht öffnen.</translation>
    </message>
    <message>
        <source>See what is in its place or whether the disk is full, then start again.</source>
        <translation>Prüfen, was an ihrer Stelle ist oder ob der Datenträger voll ist, dann neu starten.</translation>
    </message>
    <message>
        <source>Another set-up is running%1.</source>
        <translation>Eine andere Einrichtung läuft%1.</translation>
    </message>
    <message>
        <source>See whether the disk is full or %1 can be written to, then start again.</source>
        <translation>Prüfen, ob der Datenträger voll ist oder in %1 geschrieben werden kann, dann neu starten.</translation>
    </message>
    <message>
        <source>%1 to end</source>
        <translation>das Ende von %1</translation>
    </message>
    <message>
        <source>%1 (driver %2, version %3)</source>
        <translation>%1 (Treiber %2, Version %3)</translation>
    </message>
    <message>
        <source>built from %1</source>
        <translation>übersetzt aus %1</translation>
    </message>
    <message>
        <source>what the connection needs</source>
        <translation>was die Verbindung braucht</translation>
    </message>
    <message>
        <source>not shown</source>
        <translation>wird nicht gezeigt</translation>
    </message>
    <message>
        <source>the connection is started</source>
        <translation>die Verbindung wird aufgebaut</translation>
    </message>
    <message>
        <source>those that the provider announces</source>
        <translation>die, die der Anbieter meldet</translation>
    </message>
    <message>
        <source>Modem</source>
        <translation>Modem</translation>
    </message>
    <message>
        <source>Driver</source>
        <translation>Treiber</translation>
    </message>
    <message>
        <source>Packages</source>
        <translation>Pakete</translation>
    </message>
    <message>
        <source>Provider</source>
        <translation>Anbieter</translation>
    </message>
    <message>
        <source>At boot</source>
        <translation>Beim Systemstart</translation>
    </message>
    <message>
        <source>Name servers</source>
        <translation>Nameserver</translation>
    </message>
    <message>
        <source>yes</source>
        <translation>ja</translation>
    </message>
    <message>
        <source>no</source>
        <translation>nein</translation>
    </message>
    <message>
        <source>Near matches: %1.</source>
        <translation>Ähnliche Namen: %1.</translation>
    </message>
    <message>
        <source>it is a link</source>
        <translation>es ist ein Verweis</translation>
    </message>
    <message>
        <source>it is no regular file</source>
        <translation>es ist keine gewöhnliche Datei</translation>
    </message>
    <message>
        <source>The log %1 cannot be written: %2.</source>
        <translation>Das Protokoll %1 ließ sich nicht schreiben: %2.</translation>
    </message>
    <message>
        <source>it is no regular file that only root has</source>
        <translation>es ist keine gewöhnliche Datei, die nur root hat</translation>
    </message>
    <message>
        <source>%1 is no directory that only root can write to</source>
        <translation>%1 ist kein Verzeichnis, in das nur root schreiben kann</translation>
    </message>
    <message>
        <source>kestra-setup: %1 See kestra-setup --help.
</source>
        <translation>kestra-setup: %1 Näheres zeigt kestra-setup --help.
</translation>
    </message>
    <message>
        <source>Show this help.</source>
        <translation>Diese Hilfe zeigen.</translation>
    </message>
    <message>
        <source>Show the version.</source>
        <translation>Die Version zeigen.</translation>
    </message>
    <message>
        <source>Show all output of the tools.</source>
        <translation>Die ganze Ausgabe der Werkzeuge zeigen.</translation>
    </message>
    <message>
        <source>Write all output to FILE, too.</source>
        <translation>Die ganze Ausgabe auch in FILE schreiben.</translation>
    </message>
    <message>
        <source>Ask nothing; all answers come from options.</source>
        <translation>Nichts fragen; alle Antworten kommen aus Optionen.</translation>
    </message>
    <message>
        <source>Where the files of kestra-setup are.</source>
        <translation>Wo die Dateien von kestra-setup sind.</translation>
    </message>
    <message>
        <source>Answer in JSON, and ask nothing.</source>
        <translation>In JSON antworten und nichts fragen.</translation>
    </message>
    <message>
        <source>Change nothing; show what would change, and what would be run.</source>
        <translation>Nichts ändern; zeigen, was sich ändern und was ausgeführt würde.</translation>
    </message>
    <message>
        <source>How long to wait for a modem; 0 is for ever.</source>
        <translation>Wie lange auf ein Modem gewartet wird; 0 heißt unbegrenzt.</translation>
    </message>
    <message>
        <source>a modem takes five seconds to settle</source>
        <translation>ein Modem braucht fünf Sekunden, bis es bereit ist</translation>
    </message>
    <message>
        <source>Take this driver of the catalogue instead of looking for a modem.</source>
        <translation>Diesen Treiber aus dem Katalog nehmen, statt nach einem Modem zu suchen.</translation>
    </message>
    <message>
        <source>A directory, a mounted disc, a firmware file or an archive.</source>
        <translation>Ein Verzeichnis, ein eingehängtes Medium, eine Firmware-Datei oder ein Archiv.</translation>
    </message>
    <message>
        <source>Build and install no driver.</source>
        <translation>Keinen Treiber übersetzen und installieren.</translation>
    </message>
    <message>
        <source>The sources of the driver, a tar archive (default: that of the catalogue).</source>
        <translation>Der Quelltext des Treibers, ein tar-Archiv (Vorgabe: der aus dem Katalog).</translation>
    </message>
    <message>
        <source>Where to unpack the bundle.</source>
        <translation>Wohin das Treiberpaket ausgepackt wird.</translation>
    </message>
    <message>
        <source>The directory that the bundle unpacks into (default: from the catalogue).</source>
        <translation>Das Verzeichnis, in das sich das Treiberpaket auspackt (Vorgabe: aus dem Katalog).</translation>
    </message>
    <message>
        <source>The module that is built (default: from the catalogue).</source>
        <translation>Das Modul, das entsteht (Vorgabe: aus dem Katalog).</translation>
    </message>
    <message>
        <source>The kernel to build for (default: /lib/modules/RELEASE/build).</source>
        <translation>Der Kernel, für den übersetzt wird (Vorgabe: /lib/modules/RELEASE/build).</translation>
    </message>
    <message>
        <source>What make gets to build (default: &quot;all, KDIR=DIR&quot;).</source>
        <translation>Was make zum Übersetzen bekommt (Vorgabe: „all, KDIR=DIR“).</translation>
    </message>
    <message>
        <source>What make gets to install (default: &quot;install, KDIR=DIR&quot;).</source>
        <translation>Was make zum Installieren bekommt (Vorgabe: „install, KDIR=DIR“).</translation>
    </message>
    <message>
        <source>Variables for make (&quot;NAME=value, NAME=value&quot;).</source>
        <translation>Variablen für make („NAME=value, NAME=value“).</translation>
    </message>
    <message>
        <source>Install no packages.</source>
        <translation>Keine Pakete installieren.</translation>
    </message>
    <message>
        <source>pppoe or pppoa (default: that of the connection, or both).</source>
        <translation>pppoe oder pppoa (Vorgabe: das der Verbindung oder beide).</translation>
    </message>
    <message>
        <source>The packages to install (default: what driver and protocol need).</source>
        <translation>Die zu installierenden Pakete (Vorgabe: was Treiber und Protokoll brauchen).</translation>
    </message>
    <message>
        <source>apt or zypper (default: that of the distribution).</source>
        <translation>apt oder zypper (Vorgabe: das der Distribution).</translation>
    </message>
    <message>
        <source>How long to wait for another program&apos;s package run.</source>
        <translation>Wie lange auf den Paketlauf eines anderen Programms gewartet wird.</translation>
    </message>
    <message>
        <source>The provider database (default: services.xml in the data directory).</source>
        <translation>Die Anbieterdatenbank (Vorgabe: services.xml im Datenverzeichnis).</translation>
    </message>
    <message>
        <source>Check FILE, and name line and column of its faults.</source>
        <translation>FILE prüfen und Zeile und Spalte der Fehler nennen.</translation>
    </message>
    <message>
        <source>The country of the provider.</source>
        <translation>Das Land des Anbieters.</translation>
    </message>
    <message>
        <source>The service of the provider.</source>
        <translation>Der Tarif des Anbieters.</translation>
    </message>
    <message>
        <source>The user name that the provider has given.</source>
        <translation>Der Benutzername, den der Anbieter vergeben hat.</translation>
    </message>
    <message>
        <source>Read the password from FILE, which only its owner may read.</source>
        <translation>Das Passwort aus FILE lesen, das nur der Eigentümer lesen darf.</translation>
    </message>
    <message>
        <source>Read the password from standard input.</source>
        <translation>Das Passwort von der Standardeingabe lesen.</translation>
    </message>
    <message>
        <source>Write the report to FILE, which must not exist yet.</source>
        <translation>Den Bericht in FILE schreiben, das noch nicht existieren darf.</translation>
    </message>
    <message>
        <source>Also what somebody has changed since the set-up.</source>
        <translation>Auch, was jemand seit der Einrichtung geändert hat.</translation>
    </message>
    <message>
        <source>Remove the packages, too, that the set-up has installed.</source>
        <translation>Auch die Pakete entfernen, die die Einrichtung installiert hat.</translation>
    </message>
    <message>
        <source>Do not start the connection at boot.</source>
        <translation>Die Verbindung beim Systemstart nicht aufbauen.</translation>
    </message>
    <message>
        <source>The sequence number of the boot links, which must have two digits.</source>
        <translation>Die Folgenummer der Startverweise, die zwei Ziffern haben muss.</translation>
    </message>
    <message>
        <source>systemd leaves out links with one digit</source>
        <translation>systemd lässt Verweise mit einer Ziffer aus</translation>
    </message>
    <message>
        <source>Start the connection at the end.</source>
        <translation>Am Ende die Verbindung starten.</translation>
    </message>
    <message>
        <source>Leave the name servers alone.</source>
        <translation>Die Nameserver belassen.</translation>
    </message>
    <message>
        <source>The addresses of the name servers (default: those of the provider).</source>
        <translation>Die Adressen der Nameserver (Vorgabe: die des Anbieters).</translation>
    </message>
    <message>
        <source> (default: %1).</source>
        <translation> (Vorgabe: %1).</translation>
    </message>
    <message>
        <source>0 or </source>
        <translation>0 oder </translation>
    </message>
    <message>
        <source>--%1 must be %2a number from %3 to %4, not &quot;%5&quot;%6.</source>
        <translation>--%1 muss %2eine Zahl von %3 bis %4 sein, nicht „%5“%6.</translation>
    </message>
    <message>
        <source>--%1 must not be empty.</source>
        <translation>--%1 darf nicht leer sein.</translation>
    </message>
    <message>
        <source>%1 is needed with %2.</source>
        <translation>%1 wird mit %2 benötigt.</translation>
    </message>
    <message>
        <source>--password-file and --password-stdin exclude each other.</source>
        <translation>--password-file und --password-stdin schließen einander aus.</translation>
    </message>
    <message>
        <source>--password-stdin needs --unattended: standard input cannot hold answers, too.</source>
        <translation>--password-stdin braucht --unattended: Die Standardeingabe kann nicht auch Antworten enthalten.</translation>
    </message>
    <message>
        <source>--package-manager must be apt or zypper.</source>
        <translation>--package-manager muss apt oder zypper sein.</translation>
    </message>
    <message>
        <source>--protocol must be pppoe or pppoa.</source>
        <translation>--protocol muss pppoe oder pppoa sein.</translation>
    </message>
    <message>
        <source>--packages holds something that is no name of a package.</source>
        <translation>--packages enthält etwas, das kein Paketname ist.</translation>
    </message>
    <message>
        <source>--packages names no package; use --no-packages to install none.</source>
        <translation>--packages nennt kein Paket; mit --no-packages wird keines installiert.</translation>
    </message>
    <message>
        <source>--servers must be IPv4 addresses like 192.0.2.1, separated by commas.</source>
        <translation>--servers müssen IPv4-Adressen wie 192.0.2.1 sein, durch Kommas getrennt.</translation>
    </message>
    <message>
        <source>--servers and --country exclude each other.</source>
        <translation>--servers und --country schließen einander aus.</translation>
    </message>
    <message>
        <source>--module must be the file name of a kernel module.</source>
        <translation>--module muss der Dateiname eines Kernel-Moduls sein.</translation>
    </message>
    <message>
        <source>--kernel-headers must not hold a comma and a blank.</source>
        <translation>--kernel-headers darf kein Komma mit Leerzeichen enthalten.</translation>
    </message>
    <message>
        <source>--extraction-path must not hold a comma and a blank.</source>
        <translation>--extraction-path darf kein Komma mit Leerzeichen enthalten.</translation>
    </message>
    <message>
        <source>--preview writes no file, and so excludes --log.</source>
        <translation>--preview schreibt keine Datei und schließt daher --log aus.</translation>
    </message>
    <message>
        <source>An argument is empty.</source>
        <translation>Ein Argument ist leer.</translation>
    </message>
    <message>
        <source>The argument &quot;%1&quot; is not understood.</source>
        <translation>Das Argument „%1“ ist nicht verständlich.</translation>
    </message>
    <message>
        <source>%1 [options] %2</source>
        <translation>%1 [Optionen] %2</translation>
    </message>
    <message>
        <source>Usage: kestra-setup %1
%2
</source>
        <translation>Aufruf: kestra-setup %1
%2
</translation>
    </message>
    <message>
        <source>Usage: kestra-setup [options]
Sets up a connection over a USB ADSL modem. Asks for what no option tells; the password is never an option.
</source>
        <translation>Aufruf: kestra-setup [Optionen]
Richtet eine Verbindung über ein USB-ADSL-Modem ein. Fragt nach dem, was keine Option angibt; das Passwort ist nie eine Option.
</translation>
    </message>
    <message>
        <source>
Commands, each with a --help of its own:
</source>
        <translation>
Befehle, jeder mit einem eigenen --help:
</translation>
    </message>
    <message>
        <source>
Exit codes:
</source>
        <translation>
Exit-Codes:
</translation>
    </message>
    <message>
        <source>directory</source>
        <translation>Verzeichnis</translation>
    </message>
    <message>
        <source>link</source>
        <comment>in the file system</comment>
        <translation>Verweis</translation>
    </message>
    <message>
        <source>file</source>
        <translation>Datei</translation>
    </message>
    <message>
        <source>special file</source>
        <translation>Spezialdatei</translation>
    </message>
    <message>
        <source>to </source>
        <translation>nach </translation>
    </message>
    <message>
        <source>mode </source>
        <translation>Modus </translation>
    </message>
    <message>
        <source>owner </source>
        <translation>Eigentümer </translation>
    </message>
    <message>
        <source>%1 -&gt; %2 bytes</source>
        <translation>%1 -&gt; %2 Byte</translation>
    </message>
    <message>
        <source>%1 bytes</source>
        <translation>%1 Byte</translation>
    </message>
    <message>
        <source>empty</source>
        <translation>leer</translation>
    </message>
    <message>
        <source>only the password changes</source>
        <translation>nur das Passwort ändert sich</translation>
    </message>
    <message>
        <source>This is a preview. What follows happens on a copy of the system.
</source>
        <translation>Dies ist eine Vorschau. Was folgt, geschieht an einer Kopie des Systems.
</translation>
    </message>
    <message>
        <source>The preview could not be run to its end.</source>
        <translation>Die Vorschau ließ sich nicht bis zum Ende ausführen.</translation>
    </message>
    <message>
        <source>See above what stood in the way.</source>
        <translation>Oben steht, was im Weg stand.</translation>
    </message>
    <message>
        <source>kestra-setup: The preview could not be written to standard output.
</source>
        <translation>kestra-setup: Die Vorschau ließ sich nicht auf die Standardausgabe schreiben.
</translation>
    </message>
    <message>
        <source>the store for undo</source>
        <translation>der Aufbewahrung für undo</translation>
    </message>
    <message>
        <source>the package database and caches</source>
        <translation>der Paketdatenbank und der Zwischenspeicher</translation>
    </message>
    <message>
        <source>the logs</source>
        <translation>der Protokolle</translation>
    </message>
    <message>
        <source>the linker cache</source>
        <translation>des Zwischenspeichers des Linkers</translation>
    </message>
    <message>
        <source>the module index</source>
        <translation>des Modulverzeichnisses</translation>
    </message>
    <message>
        <source>the run-time files</source>
        <translation>der Laufzeitdaten</translation>
    </message>
    <message>
        <source>the devices</source>
        <translation>der Geräte</translation>
    </message>
    <message>
        <source>added</source>
        <translation>neu</translation>
    </message>
    <message>
        <source>changed</source>
        <translation>geändert</translation>
    </message>
    <message>
        <source>%1... %2 more lines</source>
        <translation>%1... %2 weitere Zeilen</translation>
    </message>
    <message>
        <source>these packages</source>
        <translation>dieser Pakete</translation>
    </message>
    <message>
        <source>What this would change:</source>
        <translation>Was sich hiermit ändern würde:</translation>
    </message>
    <message>
        <source>nothing</source>
        <translation>nichts</translation>
    </message>
    <message>
        <source>package  %1: %2 -&gt; %3</source>
        <translation>Paket    %1: %2 -&gt; %3</translation>
    </message>
    <message>
        <source>besides  %1 %2 of %3</source>
        <translation>außerdem %1 %2 %3</translation>
    </message>
    <message>
        <source>files</source>
        <translation>Dateien</translation>
    </message>
    <message>
        <source>Programs:</source>
        <translation>Programme:</translation>
    </message>
    <message>
        <source>run      </source>
        <translation>ausgeführt       </translation>
    </message>
    <message>
        <source>not run  </source>
        <translation>nicht ausgeführt </translation>
    </message>
    <message>
        <source>This was a preview: nothing was changed.</source>
        <translation>Dies war eine Vorschau: Nichts wurde geändert.</translation>
    </message>
    <message>
        <source>The program %1 is missing, which a preview runs in.</source>
        <translation>Das Programm %1 fehlt, in dem eine Vorschau läuft.</translation>
    </message>
    <message>
        <source>Install kestra-setup completely.</source>
        <translation>kestra-setup vollständig installieren.</translation>
    </message>
    <message>
        <source>A preview needs the program xdg-dbus-proxy, so that nothing can be changed over the message bus.</source>
        <translation>Eine Vorschau braucht das Programm xdg-dbus-proxy, damit über den Nachrichtenbus nichts geändert werden kann.</translation>
    </message>
    <message>
        <source>Install the package xdg-dbus-proxy.</source>
        <translation>Das Paket xdg-dbus-proxy installieren.</translation>
    </message>
    <message>
        <source>A preview puts layers over the file systems, which cannot be done here, as in most containers.</source>
        <translation>Eine Vorschau legt Schichten über die Dateisysteme, was hier wie in den meisten Containern nicht möglich ist.</translation>
    </message>
    <message>
        <source>Use it on the machine itself.</source>
        <translation>Sie auf dem Rechner selbst benutzen.</translation>
    </message>
    <message>
        <source>The program xdg-dbus-proxy did not start.</source>
        <translation>Das Programm xdg-dbus-proxy ist nicht gestartet.</translation>
    </message>
    <message>
        <source>See what it has said.</source>
        <translation>Seine Ausgabe ansehen.</translation>
    </message>
    <message>
        <source>%1 exists already.</source>
        <translation>%1 existiert schon.</translation>
    </message>
    <message>
        <source>Give another name with --output.</source>
        <translation>Mit --output einen anderen Namen angeben.</translation>
    </message>
    <message>
        <source>The report %1 cannot be written: %2.</source>
        <translation>Der Bericht %1 ließ sich nicht schreiben: %2.</translation>
    </message>
    <message>
        <source>Give another place with --output.</source>
        <translation>Mit --output einen anderen Ort angeben.</translation>
    </message>
    <message>
        <source>The report could not be put together in /tmp.</source>
        <translation>Der Bericht ließ sich nicht in /tmp zusammenstellen.</translation>
    </message>
    <message>
        <source>See whether the disk is full, then start again.</source>
        <translation>Prüfen, ob der Datenträger voll ist, dann neu starten.</translation>
    </message>
    <message>
        <source>tar could not pack the report: %1.</source>
        <translation>tar konnte den Bericht nicht packen: %1.</translation>
    </message>
    <message>
        <source>See whether the packages tar and gzip are installed.</source>
        <translation>Prüfen, ob die Pakete tar und gzip installiert sind.</translation>
    </message>
    <message>
        <source>user names and passwords could not be masked in it, as %1 cannot be read</source>
        <translation>Benutzernamen und Passwörter ließen sich darin nicht unkenntlich machen, da %1 nicht lesbar ist</translation>
    </message>
    <message>
        <source>all but its last %1 bytes</source>
        <translation>alles bis auf die letzten %1 Byte</translation>
    </message>
    <message>
        <source>all but its first %1 bytes</source>
        <translation>alles bis auf die ersten %1 Byte</translation>
    </message>
    <message>
        <source>it cannot be read</source>
        <translation>es ist nicht lesbar</translation>
    </message>
    <message>
        <source>it does not exist</source>
        <translation>es existiert nicht</translation>
    </message>
    <message>
        <source>all but %1 of its files</source>
        <translation>alle bis auf %1 seiner Dateien</translation>
    </message>
    <message>
        <source>it was stopped after %1 seconds</source>
        <translation>wurde nach %1 Sekunden beendet</translation>
    </message>
    <message>
        <source>%1 is not installed</source>
        <translation>%1 ist nicht installiert</translation>
    </message>
    <message>
        <source>%1 failed: %2</source>
        <translation>%1 ist fehlgeschlagen: %2</translation>
    </message>
    <message>
        <source>no reason was given</source>
        <translation>es wurde kein Grund genannt</translation>
    </message>
    <message>
        <source>%1 is no directory that only root can write to.</source>
        <translation>%1 ist kein Verzeichnis, in das nur root schreiben kann.</translation>
    </message>
    <message>
        <source>%1 cannot be read.</source>
        <translation>%1 ist nicht lesbar.</translation>
    </message>
    <message>
        <source>The log %1 is no regular file.</source>
        <translation>Das Protokoll %1 ist keine gewöhnliche Datei.</translation>
    </message>
    <message>
        <source>Interrupted: stopping as soon as this stage can end.</source>
        <translation>Abgebrochen: Angehalten wird, sobald dieser Schritt enden kann.</translation>
    </message>
    <message>
        <source>Interrupted: stopping as soon as %1 has ended.</source>
        <translation>Abgebrochen: Angehalten wird, sobald %1 geendet hat.</translation>
    </message>
    <message>
        <source>Interrupted again: %1 still runs, and is not broken off in the midst of what it does.</source>
        <translation>Erneut abgebrochen: %1 läuft noch und wird nicht mitten in seiner Arbeit unterbrochen.</translation>
    </message>
    <message>
        <source>done</source>
        <translation>fertig</translation>
    </message>
    <message>
        <source>skipped</source>
        <translation>ausgelassen</translation>
    </message>
    <message>
        <source>FAILED</source>
        <translation>FEHLGESCHLAGEN</translation>
    </message>
    <message>
        <source>What was written:</source>
        <translation>Was geschrieben wurde:</translation>
    </message>
    <message>
        <source>What was written until then:</source>
        <translation>Was bis dahin geschrieben wurde:</translation>
    </message>
    <message>
        <source>kestra-setup undo makes everything as it was before.</source>
        <translation>kestra-setup undo macht alles so, wie es vorher war.</translation>
    </message>
    <message>
        <source>Nothing was changed.</source>
        <translation>Nichts wurde geändert.</translation>
    </message>
    <message>
        <source>A question mark as an answer explains the question; Ctrl-C ends the set-up.
</source>
        <translation>Ein Fragezeichen als Antwort erklärt die Frage; Strg-C beendet die Einrichtung.
</translation>
    </message>
    <message>
        <source>The Tab key completes what is typed, where there is something to choose from. Ctrl-C ends the set-up.</source>
        <translation>Die Tabulatortaste vervollständigt die Eingabe, wo es etwas zu wählen gibt. Strg-C beendet die Einrichtung.</translation>
    </message>
    <message>
        <source>, or a part of it</source>
        <translation>, oder ein Teil davon</translation>
    </message>
    <message>
        <source>, or its number</source>
        <translation>, oder die Nummer</translation>
    </message>
    <message>
        <source>Nothing matches &quot;%1&quot;.</source>
        <translation>Nichts passt zu „%1“.</translation>
    </message>
    <message>
        <source>%1 to choose from; the Enter key alone lists all %2.</source>
        <translation>%1 stehen zur Wahl; die Eingabetaste allein listet alle %2 auf.</translation>
    </message>
    <message>
        <source>Go on (yes or no)</source>
        <translation>Fortfahren (ja oder nein)</translation>
    </message>
    <message>
        <source>What will be done with these answers:</source>
        <translation>Was mit diesen Antworten geschehen wird:</translation>
    </message>
    <message>
        <source>The command &quot;%1&quot; must come before all options.</source>
        <translation>Der Befehl „%1“ muss vor allen Optionen stehen.</translation>
    </message>
    <message>
        <source>it declares entities</source>
        <translation>sie deklariert Entitäten</translation>
    </message>
    <message>
        <source>its elements are nested more than %1 deep</source>
        <translation>ihre Elemente sind tiefer als %1 Ebenen verschachtelt</translation>
    </message>
    <message>
        <source>it has more than %1 countries</source>
        <translation>sie hat mehr als %1 Länder</translation>
    </message>
    <message>
        <source>it has more than %1 services of one country</source>
        <translation>sie hat mehr als %1 Tarife eines Landes</translation>
    </message>
    <message>
        <source>it is larger than %1 MiB</source>
        <translation>sie ist größer als %1 MiB</translation>
    </message>
    <message>
        <source>Start the service dbus</source>
        <translation>Den Dienst dbus starten</translation>
    </message>
    <message>
        <source>The earlier driver is back, but the list of the modules is not up to date.</source>
        <translation>Der frühere Treiber ist wieder da, doch die Liste der Module ist nicht auf dem neuesten Stand.</translation>
    </message>
    <message>
        <source>Run: depmod %1</source>
        <translation>Ausführen: depmod %1</translation>
    </message>
    <message>
        <source>Left alone, as the set-up was cut off, and somebody else may have changed it: %1</source>
        <translation>Belassen, da die Einrichtung abgebrochen wurde und auch jemand anders es geändert haben kann: %1</translation>
    </message>
    <message>
        <source>Use --force for what was left alone, too.</source>
        <translation>Mit --force wird auch zurückgenommen, was belassen wurde.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; needs one of these words after it: %2.</source>
        <translation>Nach „%1“ muss eines dieser Wörter stehen: %2.</translation>
    </message>
    <message>
        <source>%1 does not answer</source>
        <translation>%1 antwortet nicht</translation>
    </message>
</context>
</TS>
