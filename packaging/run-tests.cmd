@echo off
rem Runs the test programs, and compares what the handlers answer of the samples with what they
rem answered under Wine: run-tests.cmd [PROGRAM...], as administrator; without a name, all programs.
rem What they print is in PROGRAM.txt, the rest in report.txt.
setlocal
cd /d "%~dp0"
set passed=0
set failed=0
set programs=%*
if "%programs%"=="" set programs=unit_test shell_test
rem Not what needs an incomplete or older system, or the module registered.
set shell_test=--gtest_filter=-PropertySystem.*:ThumbExtractor.*:ClassObjects.WorkThroughCom
set TAGSMITH_EXPECTED=%~dp0expected\
ver > report.txt
for %%p in (%programs%) do call :program %%p
rem The module serves a handler only where its setting is on, and reads as another setting says: these
rem settings are set aside, in settings.reg, and put back.
set product=HKLM\Software\Corvane\Tagsmith
reg query "%product%" >nul 2>&1
set isnew=%errorlevel%
rem One that is there was left by a run that was interrupted.
if exist settings.reg reg delete "%product%\Settings" /f >nul 2>&1
if exist settings.reg reg import settings.reg >nul 2>&1
if exist settings.reg del settings.reg
reg export "%product%\Settings" settings.reg /y >nul 2>&1
reg query "%product%\Settings" >nul 2>&1
if not errorlevel 1 if not exist settings.reg echo The settings cannot be set aside.& exit /b 2
reg delete "%product%\Settings" /f >nul 2>&1
for %%h in (property thumbnail column) do reg add "%product%\Settings" /v "Add %%h handler" /t REG_DWORD /d 1 /f >nul
for %%f in (samples\*) do call :answers %%f %%~nxf
reg delete "%product%\Settings" /f >nul
if exist settings.reg reg import settings.reg >nul 2>&1
if exist settings.reg del settings.reg
if not %isnew%==0 reg delete "%product%" /f >nul
bin\tsprobe.exe --registration --text >> report.txt
echo %passed% passed, %failed% failed >> report.txt
echo %passed% passed, %failed% failed
if not %failed%==0 exit /b 1
exit /b 0

:program
if %1==shell_test bin\%1.exe %shell_test% > %1.txt 2>&1
if not %1==shell_test bin\%1.exe > %1.txt 2>&1
set code=%errorlevel%
goto count

:answers
bin\tsprobe.exe --module bin\tsshell.dll %1 > seen.json
bin\same_text.exe expected\%2.json seen.json >> report.txt
set code=%errorlevel%
goto count

:count
if %code%==0 set /a passed+=1
if not %code%==0 set /a failed+=1
set outcome=passed
if not %code%==0 set outcome=FAILED
echo %outcome% %1
echo %outcome% %1 >> report.txt
goto :eof
